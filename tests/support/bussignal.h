#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QObject>

/** Collects one signal of a bus, in the manner of QSignalSpy. */
class BusSignal : public QObject, public QList<QVariantList>
{
    Q_OBJECT

public:
    /** @param service may be empty: whoever sends it. */
    BusSignal(const QDBusConnection &bus, const QString &service, const QString &path,
              const QString &interface, const QString &member, QObject *parent = nullptr);

    /** Waits until @p number signals have come in all. @return false after @p timeout. */
    [[nodiscard]] bool waitForCount(int number, int timeout = 5000);

Q_SIGNALS:
    void received();

private Q_SLOTS:
    void onSignal(const QDBusMessage &message);
};
