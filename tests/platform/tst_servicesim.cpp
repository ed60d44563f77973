// The platform's services of the phone, seen as the client sees them.

#include "simulatorclient.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QNetworkConfigurationManager>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int shortTimeout = 100; // ms

const QString releaseManager = QStringLiteral("org.tesk.rdm");
const QString releaseManagerPath = QStringLiteral("/org/tesk/rdm");

QJsonObject named(const char *key, const QJsonValue &value)
{
    return {{QString::fromLatin1(key), value}};
}

} // namespace

class TstServiceSim : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_services.command(QStringLiteral("reset")); }
    void networkIsReported();
    void methodFails_data();
    void methodFails();

private:
    SimulatorClient m_services{QStringLiteral("Services")};
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
    m_services.command(QStringLiteral("connman"), named("state", QStringLiteral("idle")));
    QTRY_COMPARE(online.count(), 1);
    QVERIFY(!manager.isOnline());
    m_services.command(QStringLiteral("connman"), named("state", QStringLiteral("online")));
    QTRY_COMPARE(online.count(), 2);
    QVERIFY(manager.isOnline());

    m_services.command(QStringLiteral("connman"), named("type", QStringLiteral("ethernet")));
    QTRY_COMPARE(bearer(), QNetworkConfiguration::BearerEthernet);
    QVERIFY(manager.isOnline());
    m_services.command(QStringLiteral("connman"), named("type", QStringLiteral("cellular")));
    QTRY_VERIFY(bearer() != QNetworkConfiguration::BearerEthernet);
    QVERIFY(bearer() != QNetworkConfiguration::BearerWLAN);
    QVERIFY(manager.isOnline());
}

void TstServiceSim::methodFails_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<QJsonObject>("arguments");
    QTest::addColumn<QStringList>("outcomes"); // of three calls in a row

    const QString method = QStringLiteral("rdm.updateRepos");
    const QString fine;
    const QString lost = QStringLiteral("org.freedesktop.DBus.Error.NoReply");
    const QString denied = QStringLiteral("org.tesk.Error.Denied");
    QTest::newRow("error") << QStringLiteral("error")
                           << QJsonObject{{QStringLiteral("method"), method},
                                          {QStringLiteral("name"), denied}}
                           << QStringList{denied, denied, denied};
    QTest::newRow("error once") << QStringLiteral("fault")
                                << QJsonObject{{QStringLiteral("method"), method},
                                               {QStringLiteral("error"), denied},
                                               {QStringLiteral("times"), 1}}
                                << QStringList{denied, fine, fine};
    QTest::newRow("never answers")
        << QStringLiteral("hang") << QJsonObject{{QStringLiteral("method"), method}}
        << QStringList{lost, lost, lost};
    QTest::newRow("answers later")
        << QStringLiteral("hang")
        << QJsonObject{{QStringLiteral("method"), method}, {QStringLiteral("ms"), 10}}
        << QStringList{fine, fine, fine};
    QTest::newRow("another method")
        << QStringLiteral("hang")
        << QJsonObject{{QStringLiteral("method"), QStringLiteral("rdm.modifyRepo")}}
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
        outcomes.append(manager.call(QStringLiteral("updateRepos")).errorName());
    QTEST(outcomes, "outcomes");
    QCOMPARE(m_services.entries(QStringLiteral("rdm.updateRepos")).size(), 3);
}

QTEST_GUILESS_MAIN(TstServiceSim)
#include "tst_servicesim.moc"
