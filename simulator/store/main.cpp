#include "httpsserver.h"
#include "storecontrol.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSettings>
#include <QTextStream>

namespace {

const QString devicePath = QStringLiteral("/etc/rdm/rdm.ini");

int fail(const QString &problem)
{
    QTextStream(stderr) << "storesim: " << problem << '\n';
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The store's backend for a simulated phone."));
    parser.addHelpOption();
    const QString file = QStringLiteral("file");
    const QCommandLineOption certificate(QStringLiteral("certificate"),
                                         QStringLiteral("The server's certificate, PEM."), file);
    const QCommandLineOption key(QStringLiteral("key"), QStringLiteral("Its private key, PEM."),
                                 file);
    const QCommandLineOption data(QStringLiteral("data"),
                                  QStringLiteral("The folder with catalogue.json."),
                                  QStringLiteral("folder"));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("The port on 127.0.0.1, 0 for a free one."),
                                  QStringLiteral("number"), QStringLiteral("443"));
    const QCommandLineOption catalogueKind(
        QStringLiteral("catalogue"),
        QStringLiteral("\"apt\": this machine's package index as further applications."),
        QStringLiteral("kind"));
    const QCommandLineOption device(QStringLiteral("device"),
                                    QStringLiteral("The phone's device facts."), file, devicePath);
    parser.addOptions({certificate, key, data, port, catalogueKind, device});
    parser.process(application);

    QString problem;
    Catalogue catalogue;
    if (!catalogue.readFile(parser.value(data) + QStringLiteral("/catalogue.json"), &problem))
        return fail(problem);
    if (parser.value(catalogueKind) == QLatin1String("apt") && !catalogue.addAptIndex(&problem))
        return fail(problem);

    const QSettings facts(parser.value(device), QSettings::IniFormat);
    StoreState state(std::move(catalogue), facts.value(QStringLiteral("device/model")).toString());
    ImageStore images;
    StoreApi api(&state, &images);
    FaultList faults;
    SimulatorControl control(QStringLiteral("Store"));
    const StoreControl verbs(&control, &state, &faults);
    HttpsServer server(&api, &faults, [&control](const QJsonObject &entry) {
        QMetaObject::invokeMethod(
            &control, [&control, entry] { control.record(entry); }, Qt::QueuedConnection);
    });
    const int listening = server.listen(parser.value(certificate), parser.value(key),
                                        parser.value(port).toInt(), &problem);
    if (listening < 0)
        return fail(problem);
    QTextStream(stdout) << "listening on 127.0.0.1:" << listening << '\n';
    return control.publish() ? application.exec() : 1;
}
