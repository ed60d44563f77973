#include "identity.h"

QStringList commandAs(Identity identity, const QStringList &command)
{
    if (identity == Identity::Root)
        return command;
    const QString group =
        identity == Identity::Privileged ? QStringLiteral("996") : QStringLiteral("1000");
    return QStringList{QStringLiteral("setpriv"),
                       QStringLiteral("--reuid"),
                       QStringLiteral("1000"),
                       QStringLiteral("--regid"),
                       group,
                       QStringLiteral("--clear-groups"),
                       QStringLiteral("env"),
                       QStringLiteral("USER=user"),
                       QStringLiteral("LOGNAME=user"),
                       QStringLiteral("XDG_RUNTIME_DIR=/run/user/1000")}
    + command;
}
