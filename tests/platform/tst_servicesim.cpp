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

QJsonObject named(const char *key, const QJsonValue &value)
{
    return {{QString::fromLatin1(key), value}};
}

} // namespace

class TstServiceSim : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_services.command(text("reset")); }
    void networkIsReported();
    void methodFails_data();
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
    m_services.command(text("connman"), named("state", text("idle")));
    QTRY_COMPARE(online.count(), 1);
    QVERIFY(!manager.isOnline());
    m_services.command(text("connman"), named("state", text("online")));
    QTRY_COMPARE(online.count(), 2);
    QVERIFY(manager.isOnline());

    m_services.command(text("connman"), named("type", text("ethernet")));
    QTRY_COMPARE(bearer(), QNetworkConfiguration::BearerEthernet);
    QVERIFY(manager.isOnline());
    m_services.command(text("connman"), named("type", text("cellular")));
    QTRY_VERIFY(bearer() != QNetworkConfiguration::BearerEthernet);
    QVERIFY(bearer() != QNetworkConfiguration::BearerWLAN);
    QVERIFY(manager.isOnline());
}

void TstServiceSim::methodFails_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<QJsonObject>("arguments");
    QTest::addColumn<QStringList>("outcomes"); // of three calls in a row

    const QString method = text("rdm.updateRepos");
    const QString fine;
    const QString lost = text("org.freedesktop.DBus.Error.NoReply");
    const QString denied = text("org.tesk.Error.Denied");
    QTest::newRow("error") << text("error")
                           << QJsonObject{{text("method"), method}, {text("name"), denied}}
                           << QStringList{denied, denied, denied};
    QTest::newRow("error once") << text("fault")
                                << QJsonObject{{text("method"), method},
                                               {text("error"), denied},
                                               {text("times"), 1}}
                                << QStringList{denied, fine, fine};
    QTest::newRow("never answers")
        << text("hang") << QJsonObject{{text("method"), method}} << QStringList{lost, lost, lost};
    QTest::newRow("answers later")
        << text("hang") << QJsonObject{{text("method"), method}, {text("ms"), 10}}
        << QStringList{fine, fine, fine};
    QTest::newRow("another method")
        << text("hang") << QJsonObject{{text("method"), text("rdm.modifyRepo")}}
        << QStringList{fine, fine, fine};
}

void TstServiceSim::methodFails()
{
    QFETCH(QString, verb);
    QFETCH(QJsonObject, arguments);
    m_services.command(verb, arguments);
    QDBusInterface manager(releaseManager, releaseManagerPath, releaseManager,
                           QDBusConnection::systemBus());
    manager.setTimeout(shortTimeout);
    QStringList outcomes;
    for (int i = 0; i < 3; ++i)
        outcomes.append(manager.call(text("updateRepos")).errorName());
    QTEST(outcomes, "outcomes");
    QCOMPARE(m_services.entries(text("rdm.updateRepos")).size(), 3);
}

QTEST_GUILESS_MAIN(TstServiceSim)
#include "tst_servicesim.moc"
