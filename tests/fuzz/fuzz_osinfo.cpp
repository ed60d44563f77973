#include "fuzzinput.h"

#include "osinfo.h"

#include <QSettings>
#include <QTemporaryFile>

namespace {

OsInfo read(const QString &path)
{
    return readOsInfo(QSettings(path, QSettings::IniFormat));
}

} // namespace

/** The file in which the offer of an OS update outlives the process. */
void fuzz(FuzzInput &input)
{
    QTemporaryFile file;
    QTemporaryFile copy;
    require(file.open() && copy.open(), "files can be made");
    file.write(input.takeRest());
    file.flush();
    const OsInfo info = read(file.fileName());
    {
        QSettings settings(copy.fileName(), QSettings::IniFormat);
        writeOsInfo(settings, info);
    }
    const OsInfo again = read(copy.fileName());
    require(info.version == again.version && info.codeName == again.codeName
                && info.summary == again.summary && info.cover == again.cover
                && info.website == again.website && info.downloaded == again.downloaded
                && info.downloadSize == again.downloadSize && info.installSize == again.installSize
                && info.removeSize == again.removeSize,
            "what is written is read again");
}
