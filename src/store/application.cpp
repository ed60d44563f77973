#include "application.h"

#include <QLocale>

namespace Store {

namespace {

constexpr int exactUpTo = 10; // up to here a number of downloads is shown as it is
constexpr int downloadMarks[] = {500000, 250000, 100000, 75000, 50000, 25000, 10000,
                                 5000,   1000,   500,    100,   50,    10};

} // namespace

QVariantMap Application::toMap() const
{
    return {
        {QStringLiteral("uuid"), uuid},
        {QStringLiteral("packageName"), packageName},
        {QStringLiteral("collection"), collection},
        {QStringLiteral("inStore"), inStore},
        {QStringLiteral("company"), company},
        {QStringLiteral("user"), user},
        {QStringLiteral("userName"), userName},
        {QStringLiteral("summary"), summary},
        {QStringLiteral("title"), title},
        {QStringLiteral("description"), description},
        {QStringLiteral("version"), version},
        {QStringLiteral("changes"), changes},
        {QStringLiteral("rating"), rating},
        {QStringLiteral("downloads"), downloadMark(downloads)},
        {QStringLiteral("likes"), likes},
        {QStringLiteral("cover"), cover},
        {QStringLiteral("icon"), icon},
        {QStringLiteral("requirements"), requirements.join(QStringLiteral(", "))},
        {QStringLiteral("screenshots"), screenshots.join(QLatin1Char(' '))},
        {QStringLiteral("createdOn"), createdOn},
        {QStringLiteral("updatedOn"), updatedOn},
        {QStringLiteral("installedOn"), installedOn},
        {QStringLiteral("openSourceLink"), openSourceLink},
        {QStringLiteral("website"), website},
        {QStringLiteral("flattrLink"), flattrLink},
        {QStringLiteral("size"), size},
    };
}

QString downloadMark(int downloads)
{
    const QLocale locale;
    if (downloads > exactUpTo) {
        for (const int mark : downloadMarks) {
            if (downloads >= mark)
                return locale.toString(mark) + QLatin1Char('+');
        }
    }
    return locale.toString(downloads);
}

} // namespace Store
