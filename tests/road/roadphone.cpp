#include "roadphone.h"

#include "scenefile.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QSettings>
#include <QTest>
#include <QTimer>

namespace {

const QString serviceName = QStringLiteral("com.orvik.orvikstore"); // also of the interface
const QString servicePath = QStringLiteral("/KioskClient");
constexpr int recheck = 100; // milliseconds until what nobody announces is looked at again

} // namespace

RoadPhone::RoadPhone(QObject *parent)
    : QObject(parent)
{
    QDBusConnection::sessionBus().connect(QString(), servicePath, serviceName, QString(), this,
                                          SLOT(onSignal(QDBusMessage)));
    connect(&m_packages, &SimulatorClient::recorded, this, &RoadPhone::changed);
    connect(&m_services, &SimulatorClient::recorded, this, &RoadPhone::changed);
    connect(&m_store, &SimulatorClient::recorded, this, &RoadPhone::changed);
}

void RoadPhone::reset()
{
    m_client.reset();
    m_packages.reset();
    // As long as a real one knows an ended transaction, whose role may still be asked for.
    m_packages.command(text("timing"), {{text("destroy"), 5000}});
    m_services.command(text("reset"));
    // What the client remembers to have published is void with that.
    m_services.command(text("notifications-restart"));
    m_store.command(text("reset"));
    cache().removeRecursively();
    QVERIFY(SceneFile::writeMain());
    forget();
}

bool RoadPhone::startClient(const QStringList &arguments)
{
    m_client = std::make_unique<ClientProcess>(arguments, Identity::Privileged);
    return m_client->startService();
}

bool RoadPhone::startReady(const QStringList &arguments)
{
    if (!startClient(arguments) || !call(text("storeCredentials")))
        return false;
    // The list of installed applications is what the client asks for last.
    const auto isReady = [this] {
        return !m_client->log().filter(text("Store server is now ready.")).isEmpty()
            && m_packages.calls().contains(text("GetPackages(0x4)"));
    };
    return waitUntil(isReady, 20000);
}

bool RoadPhone::isIdle()
{
    return m_packages.command(text("state"))[QLatin1String("transactions")].toArray().isEmpty();
}

bool RoadPhone::stopClient()
{
    m_client->terminate();
    return m_client->waitForEnd() && !m_client->crashed() && m_client->exitCode() == 0;
}

void RoadPhone::killClient()
{
    m_client->kill();
    QVERIFY(m_client->waitForEnd());
}

bool RoadPhone::call(const QString &method, const QVariantList &arguments, Identity identity)
{
    return !callAs(identity, {serviceName, servicePath, serviceName}, method, arguments).isError();
}

void RoadPhone::script(const QStringList &lines)
{
    for (const QString &line : lines) {
        const QString part = line.section(QLatin1Char(' '), 0, 0);
        const QString verb = line.section(QLatin1Char(' '), 1, 1);
        const QJsonDocument arguments =
            QJsonDocument::fromJson(line.section(QLatin1Char(' '), 2).toUtf8());
        QVERIFY2(arguments.isObject(), qPrintable(line));
        SimulatorClient &simulator = part == QLatin1String("Store") ? m_store
            : part == QLatin1String("Services")                     ? m_services
                                                                    : m_packages;
        simulator.command(verb, arguments.object());
    }
}

void RoadPhone::enable(const QStringList &repositories)
{
    for (const QString &name : repositories) {
        m_packages.command(text("repository"), {{text("name"), name}, {text("enabled"), true}});
    }
}

void RoadPhone::explainFailure() const
{
    if (!QTest::currentTestFailed())
        return;
    qInfo().noquote() << m_heard.join(QLatin1Char('\n'));
    if (m_client)
        qInfo().noquote() << m_client->log().join(QLatin1Char('\n'));
}

void RoadPhone::forget()
{
    m_packages.clearLog();
    m_services.clearLog();
    m_store.clearLog();
    m_heard.clear();
    m_progress.clear();
    m_progressFell = false;
}

bool RoadPhone::waitToHear(const QString &line, int timeout)
{
    return waitUntil([&] { return m_heard.contains(line); }, timeout);
}

bool RoadPhone::waitUntil(const std::function<bool()> &happened, int timeout)
{
    const QDeadlineTimer deadline(timeout);
    while (!happened()) {
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        connect(this, &RoadPhone::changed, &loop, &QEventLoop::quit);
        if (m_client)
            connect(m_client.get(), &ClientProcess::changed, &loop, &QEventLoop::quit);
        QTimer::singleShot(recheck, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

QStringList RoadPhone::homeScreen()
{
    QStringList lines;
    const QJsonArray entries = m_services.entries();
    for (const QJsonValue &entry : entries) {
        const QString kind = entry[QLatin1String("kind")].toString();
        const QJsonArray arguments = entry[QLatin1String("arguments")].toArray();
        if (kind == QLatin1String("launcher.updatingStarted")) {
            lines.append(text("updatingStarted %1|%2|%3")
                             .arg(arguments[0].toString(), arguments[1].toString(),
                                  arguments[3].toString()));
        } else if (kind == QLatin1String("launcher.updatingFinished")) {
            lines.append(text("updatingFinished ") + arguments[0].toString());
        }
    }
    return lines;
}

QStringList RoadPhone::published()
{
    QStringList lines;
    const QJsonArray entries = m_services.entries(text("notification.notify"));
    for (const QJsonValue &entry : entries) {
        const QJsonArray arguments = entry[QLatin1String("arguments")].toArray();
        const QJsonObject hints = arguments[6].toObject();
        const QJsonArray preview = hints[QLatin1String("x-kiosk-preview")].toArray();
        lines.append(QStringList{hints[QLatin1String("category")].toString(),
                                 arguments[3].toString(), arguments[4].toString(),
                                 preview[0].toString(), preview[1].toString()}
                         .join(QLatin1Char('|')));
    }
    return lines;
}

QStringList RoadPhone::onShow()
{
    QStringList lines;
    const QJsonArray shown =
        m_services.command(text("notifications-list"))[QLatin1String("notifications")].toArray();
    for (const QJsonValue &notification : shown) {
        lines.append(notification[QLatin1String("hints")][QLatin1String("category")].toString()
                     + QLatin1Char('|') + notification[QLatin1String("body")].toString());
    }
    return lines;
}

QStringList RoadPhone::storeChanges()
{
    QStringList lines;
    const QJsonArray entries = m_store.entries(text("request"));
    for (const QJsonValue &entry : entries) {
        const QString method = entry[QLatin1String("method")].toString();
        const QString path = entry[QLatin1String("path")].toString();
        if (method == QLatin1String("GET") || !path.startsWith(QLatin1String("/api/")))
            continue;
        lines.append(text("%1 %2 %3 %4")
                         .arg(method, path.section(QLatin1Char('/'), 3, 3),
                              entry[QLatin1String("body")].toString(),
                              QString::number(entry[QLatin1String("status")].toInt())));
    }
    return lines;
}

QString RoadPhone::installedVersion(const QString &package)
{
    const QStringList all = m_packages.installedPackages().filter(package + QLatin1Char(' '));
    for (const QString &entry : all) {
        if (entry.section(QLatin1Char(' '), 0, 0) == package)
            return entry.section(QLatin1Char(' '), 1);
    }
    return QString();
}

QString RoadPhone::release()
{
    const QSettings device(text("/etc/rdm/rdm.ini"), QSettings::IniFormat);
    return device.value(text("release/current")).toString();
}

QDir RoadPhone::cache()
{
    return QDir(QDir::homePath() + text("/.cache/kiosk-client"));
}

void RoadPhone::onSignal(const QDBusMessage &message)
{
    const QVariantList arguments = message.arguments();
    const QString member = message.member();
    bool isStep = false; // of progress, as opposed to its begin and end
    if (member == QLatin1String("packageProgressChanged")) {
        const int value = arguments.value(1).toInt();
        int &before = m_progress[arguments.value(0).toString()];
        m_progressFell = m_progressFell || (value > 0 && value < before);
        before = value;
        isStep = value != 0 && value != 100;
    }
    QStringList words{member};
    if (member == QLatin1String("osUpdateInfo")) {
        // Version, code name and the three sizes; the rest is texts and the time.
        for (int i : {0, 1, 6, 7, 8})
            words.append(arguments.value(i).toString());
    } else {
        for (const QVariant &argument : arguments)
            words.append(argument.toString());
    }
    const QString line = words.join(QLatin1Char(' '));
    const bool isRepeated = member.contains(QLatin1String("Progress")) && !m_heard.isEmpty()
        && m_heard.constLast() == line;
    if (!isStep && !isRepeated)
        m_heard.append(line);
    Q_EMIT changed();
}

QStringList lines(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list.append(QString::fromUtf8(text));
    return list;
}
