#include "startupappdata.h"

#include <QDBusArgument>

QDBusArgument &operator<<(QDBusArgument &argument, const StartupAppData &data)
{
    argument.beginStructure();
    argument << data.name << data.packageName << data.icon << data.category << data.summary
             << data.required << data.preselected;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, StartupAppData &data)
{
    argument.beginStructure();
    argument >> data.name >> data.packageName >> data.icon >> data.category >> data.summary
        >> data.required >> data.preselected;
    argument.endStructure();
    return argument;
}
