#include "bussignal.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

BusSignal::BusSignal(const QDBusConnection &bus, const QString &service, const QString &path,
                     const QString &interface, const QString &member, QObject *parent)
    : QObject(parent)
{
    QDBusConnection(bus).connect(service, path, interface, member, this,
                                 SLOT(onSignal(QDBusMessage)));
}

bool BusSignal::waitForCount(int number, int timeout)
{
    const QDeadlineTimer deadline(timeout);
    while (size() < number) {
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        connect(this, &BusSignal::received, &loop, &QEventLoop::quit);
        QTimer::singleShot(int(deadline.remainingTime()) + 1, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

void BusSignal::onSignal(const QDBusMessage &message)
{
    append(message.arguments());
    Q_EMIT received();
}
