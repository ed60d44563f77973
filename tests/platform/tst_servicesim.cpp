// The platform's services of the phone, seen as the client sees them.

#include "simulatorclient.h"
#include "text.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QNetworkConfigurationManager>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int shortTimeout = 100; // ms

const QString releaseManager = text("org.tesk.rdm");
const QString releaseManagerPath = text("/org/tesk/rdm");

} // namespace

class TstServiceSim : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_services.command("reset"); }
    void networkIsReported();
    void methodFails();

private:
    SimulatorClient m_services{text("Services")};
};

void TstServiceSim::networkIsReported()
{
    QNetworkConfigurationManager manager;
    QSignalSpy online(&manager, &QNetworkConfigurationManager::onlineStateChanged);
    QTRY_VERIFY(manager.isOnline());
    const auto bearer = [&manager] { return manager.defaultConfiguration().bearerType(); };
    QTRY_COMPARE(bearer(), QNetworkConfiguration::BearerWLAN);
    QCOMPARE(manager.defaultConfiguration().state(), QNetworkConfiguration::Active);

    online.clear();
    m_services.command("connman", R"({"state": "idle"})");
    QTRY_COMPARE(online.count(), 1);
    QVERIFY(!manager.isOnline());
    m_services.command("connman", R"({"state": "online"})");
    QTRY_COMPARE(online.count(), 2);
    QVERIFY(manager.isOnline());

    m_services.command("connman", R"({"type": "ethernet"})");
    QTRY_COMPARE(bearer(), QNetworkConfiguration::BearerEthernet);
    QVERIFY(manager.isOnline());
    m_services.command("connman", R"({"type": "cellular"})");
    QTRY_VERIFY(bearer() != QNetworkConfiguration::BearerEthernet);
    QVERIFY(bearer() != QNetworkConfiguration::BearerWLAN);
    QVERIFY(manager.isOnline());
}

void TstServiceSim::methodFails()
{
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"error", R"({"method": "rdm.updateRepos", "name": "org.tesk.Denied"})", "org.tesk.Denied"},
        {"hang", R"({"method": "rdm.updateRepos"})", "org.freedesktop.DBus.Error.NoReply"},
        {"hang", R"({"method": "rdm.updateRepos", "ms": 10})", ""},
        {"hang", R"({"method": "rdm.modifyRepo"})", ""}};
    for (const auto &[verb, arguments, error] : rows) {
        init();
        m_services.command(verb, arguments);
        QDBusInterface manager(releaseManager, releaseManagerPath, releaseManager,
                               QDBusConnection::systemBus());
        if (text(error).contains(text("NoReply")))
            manager.setTimeout(shortTimeout);
        for (int calls = 1; calls <= 2; ++calls) {
            QCOMPARE(manager.call(text("updateRepos")).errorName(), text(error));
            QCOMPARE(m_services.entries(text("rdm.updateRepos")).size(), calls);
        }
    }
}

QTEST_GUILESS_MAIN(TstServiceSim)
#include "tst_servicesim.moc"
