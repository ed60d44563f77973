#include "mdeclarativecache.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQuickView>

namespace {

/** Owns the window: the application's clean-up, while windows still work, deletes it. */
QPointer<QQuickView> &theView()
{
    static QPointer<QQuickView> view;
    return view;
}

void deleteView()
{
    delete theView();
}

} // namespace

QGuiApplication *MDeclarativeCache::qApplication(int &argc, char **argv)
{
    return new QGuiApplication(argc, argv);
}

QQuickView *MDeclarativeCache::qQuickView()
{
    QPointer<QQuickView> &view = theView();
    if (!view) {
        view = new QQuickView;
        qAddPostRoutine(&deleteView);
    }
    return view;
}
