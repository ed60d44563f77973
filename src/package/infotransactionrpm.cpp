#include "infotransactionrpm.h"

#include <QDebug>
#include <QFileInfo>
#include <QTimer>
#include <QVariant>

#include <cerrno>
#include <cstring>

#include <rpm/header.h>
#include <rpm/rpmio.h>
#include <rpm/rpmlib.h>
#include <rpm/rpmtd.h>
#include <rpm/rpmts.h>

namespace Package {

namespace {

static_assert(RPMRC_OK == 0 && RPMRC_FAIL == 2 && RPMRC_NOTTRUSTED == 3 && RPMRC_NOKEY == 4);
static_assert(RPMTAG_NAME == 1000 && RPMTAG_VERSION == 1001 && RPMTAG_SUMMARY == 1004);
static_assert(RPM_INT32_TYPE == 4 && RPM_INT64_TYPE == 5 && RPM_STRING_TYPE == 6
              && RPM_STRING_ARRAY_TYPE == 8 && RPM_I18NSTRING_TYPE == 9);

QVariantList values(rpmtd td)
{
    QVariantList list;
    const rpmTagType type = rpmtdType(td);
    rpmtdInit(td);
    while (rpmtdNext(td) >= 0) {
        switch (type) {
        case RPM_INT32_TYPE:
            list.append(*rpmtdGetUint32(td));
            break;
        case RPM_INT64_TYPE:
            list.append(static_cast<qulonglong>(*rpmtdGetUint64(td)));
            break;
        case RPM_STRING_TYPE:
        case RPM_STRING_ARRAY_TYPE:
        case RPM_I18NSTRING_TYPE:
            list.append(QString::fromUtf8(rpmtdGetString(td)));
            break;
        default:
            break;
        }
    }
    return list;
}

void readHeader(Header header, Manager::PackageInformation &info)
{
    HeaderIterator iterator = headerInitIterator(header);
    rpmtd td = rpmtdNew();
    while (headerNext(iterator, td)) {
        const QVariantList list = values(td);
        if (!list.isEmpty()) {
            const QString first = list.first().toString();
            switch (rpmtdTag(td)) {
            case RPMTAG_NAME:
                info.name = first;
                break;
            case RPMTAG_VERSION:
                info.version = first;
                break;
            case RPMTAG_SUMMARY:
                info.summary = first;
                break;
            default:
                break;
            }
        }
        rpmtdFreeData(td);
    }
    rpmtdFree(td);
    headerFreeIterator(iterator);
}

} // namespace

InfoTransactionRpm::InfoTransactionRpm(const QString &packageFile,
                                       Manager::PackageInformation::Ptr info)
{
    info->file = packageFile;
    const QByteArray path = packageFile.toUtf8();
    // Opening a pipe would block the main thread until somebody writes to it.
    const QFileInfo file(packageFile);
    FD_t fd = !file.exists() || file.isFile() ? Fopen(path.constData(), "r") : nullptr;
    rpmReadConfigFiles(nullptr, nullptr);
    rpmts ts = rpmtsCreate();
    Header header = nullptr;
    const int rc = rpmReadPackageFile(ts, fd, path.constData(), &header);
    const int error = errno;
    if (rc == RPMRC_OK || rc == RPMRC_NOTTRUSTED || rc == RPMRC_NOKEY) {
        readHeader(header, *info);
        qDebug() << "RPM Package Info:" << info->name << info->version << info->summary;
        headerFree(header);
        m_ok = true;
    } else {
        m_errorText = QString::fromLocal8Bit(std::strerror(error));
        qDebug() << "could not read rpm:" << rc << m_errorText;
    }
    rpmtsFree(ts);
    Fclose(fd);
}

void InfoTransactionRpm::start()
{
    QTimer::singleShot(0, this, &InfoTransactionRpm::slotFinished);
}

void InfoTransactionRpm::slotFinished()
{
    if (hasEnded())
        return;
    if (m_ok)
        succeed();
    else
        fail(m_errorText);
}

} // namespace Package
