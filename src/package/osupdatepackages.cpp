#include "osupdatepackages.h"

#include "rdm.h"

namespace Package::OsUpdate {

namespace {

QString devicePattern()
{
    return QStringLiteral("orvik-configuration-%1").arg(RdmDeviceInfo::deviceModel().toLower());
}

} // namespace

QString versionPackage()
{
    return QStringLiteral("branwick-version");
}

QString checkRepository()
{
    return QStringLiteral("non-oss");
}

const QString &configurationPattern()
{
    static const QString pattern = devicePattern();
    return pattern;
}

QString sizeQuery()
{
    return QStringLiteral("tesk::query-size:%1").arg(devicePattern());
}

} // namespace Package::OsUpdate
