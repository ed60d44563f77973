#include "buscall.h"

#include <QDataStream>
#include <QEventLoop>
#include <QProcess>

BusReply callAs(Identity identity, const BusTarget &target, const QString &method,
                const QVariantList &arguments, int timeout)
{
    QByteArray request;
    QDataStream question(&request, QIODevice::WriteOnly);
    question << target.systemBus << target.service << target.path << target.interface << method
             << arguments << timeout;

    QProcess caller;
    caller.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const QStringList command = commandAs(identity, {QStringLiteral(KIOSK_BUSCALLER)});
    QEventLoop loop;
    QObject::connect(&caller, &QProcess::stateChanged, &loop,
                     [&loop](QProcess::ProcessState state) {
                         if (state == QProcess::NotRunning)
                             loop.quit();
                     });
    caller.start(command.first(), command.mid(1));
    caller.write(request);
    caller.closeWriteChannel();
    if (caller.state() != QProcess::NotRunning)
        loop.exec();

    BusReply reply;
    QDataStream answer(caller.readAllStandardOutput());
    answer >> reply.errorName >> reply.errorText >> reply.signature >> reply.arguments;
    if (answer.status() != QDataStream::Ok) {
        reply.errorName = QStringLiteral("buscaller");
        reply.errorText = QStringLiteral("the calling process failed: ") + caller.errorString();
    }
    return reply;
}
