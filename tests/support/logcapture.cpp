#include "logcapture.h"

#include <QMutex>

namespace {

QMutex mutex;
QStringList captured;

void capture(QtMsgType, const QMessageLogContext &, const QString &message)
{
    const QMutexLocker lock(&mutex);
    captured.append(message);
}

} // namespace

LogCapture::LogCapture()
{
    const QMutexLocker lock(&mutex);
    captured.clear();
    m_previous = qInstallMessageHandler(capture);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
}

QStringList LogCapture::lines()
{
    const QMutexLocker lock(&mutex);
    return captured;
}

QStringList LogCapture::lines(const char *text)
{
    return lines().filter(QString::fromUtf8(text));
}
