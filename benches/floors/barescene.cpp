// The floor of a first frame: a view with the scene that the product loads.

#include <QGuiApplication>
#include <QQuickView>

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    QQuickView view;
    view.setSource(QUrl::fromLocalFile(QStringLiteral("/usr/share/kiosk-client/main.qml")));
    view.showFullScreen();
    return QGuiApplication::exec();
}
