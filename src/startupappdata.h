#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

class QDBusArgument;

/** An application that is offered at the device's first start; "(sssssbb)" on D-Bus. */
struct StartupAppData
{
    QString name;
    QString packageName;
    QString icon; // URL, scaled to the size of a launcher icon
    QString category; // "orvik" or "marketplace"
    QString summary;
    bool required = false; // an account provider of the request needs it
    bool preselected = false; // offered as selected
};

Q_DECLARE_METATYPE(StartupAppData)

QDBusArgument &operator<<(QDBusArgument &argument, const StartupAppData &data);
const QDBusArgument &operator>>(const QDBusArgument &argument, StartupAppData &data);
