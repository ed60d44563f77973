#include "mdeclarativecache.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQuickView>
#include <QScreen>
#include <QTest>

class TstMDeclarativeCache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handsOutOneView();
    void deletesTheViewWithTheApplication();
};

void TstMDeclarativeCache::handsOutOneView()
{
    char name[] = "test";
    char *arguments[] = {name, nullptr};
    int count = 1;
    const QScopedPointer<QGuiApplication> application(
        MDeclarativeCache::qApplication(count, arguments));

    QQuickView *view = MDeclarativeCache::qQuickView();
    QVERIFY(view);
    QVERIFY(!view->isVisible());
    QCOMPARE(MDeclarativeCache::qQuickView(), view);
}

void TstMDeclarativeCache::deletesTheViewWithTheApplication()
{
    char name[] = "test";
    char *arguments[] = {name, nullptr};
    int count = 1;
    QScopedPointer<QGuiApplication> application(MDeclarativeCache::qApplication(count, arguments));
    QPointer<QQuickView> view = MDeclarativeCache::qQuickView();
    view->show();
    bool screensWereThere = false;
    connect(view, &QObject::destroyed, this,
            [&] { screensWereThere = QGuiApplication::primaryScreen() != nullptr; });

    application.reset();
    QVERIFY(!view);
    QVERIFY(screensWereThere);
}

QTEST_APPLESS_MAIN(TstMDeclarativeCache)
#include "tst_mdeclarativecache.moc"
