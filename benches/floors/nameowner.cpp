// The floor of a start: an application with the toolkit's scene library that does nothing
// but take a name.

#include <QDBusConnection>
#include <QGuiApplication>
#include <QQuickView>

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    // Named, so that the linker keeps the library.
    const bool isNamed = QQuickView::staticMetaObject.className() != nullptr
        && QDBusConnection::sessionBus().registerService(
            QStringLiteral("org.kiosk.Bench.NameOwner"));
    return isNamed ? QGuiApplication::exec() : 1;
}
