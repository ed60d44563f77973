#include "roadphone.h"
#include "scenefile.h"

#include <QRandomGenerator>
#include <QTest>

namespace {

constexpr int kills = 50;
constexpr int longestLife = 60; // lines of its log from the call to the kill
constexpr quint32 seed = 20261123; // the same moments in each run
const QString release = QStringLiteral("3.3.0.12");

// A scene that fills the image cache as soon as the store can be reached.
const QString loadsImages =
    QStringLiteral("Connections { target: orvikStore\n function onConnectionStateChanged() {\n"
                   "for (let size = 40; size < 80; ++size)\n"
                   "orvikStore.loadStoreImage(`static/icon/dicebag/${size}x${size}.png`, 0, 0,\n"
                   "function(ready) { console.log('scene image', ready) }) } }");

} // namespace

/** However the process ends, the next one starts, answers and works. */
class TstKills : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { m_phone.explainFailure(); }
    void survivesAll();

private:
    RoadPhone m_phone;
};

void TstKills::survivesAll()
{
    m_phone.reset();
    QVERIFY(SceneFile::writeMain(loadsImages));
    m_phone.enable({QStringLiteral("nightly")});
    QRandomGenerator random(seed);
    for (int kill = 0; kill < kills; ++kill) {
        const QString package = QStringLiteral("dicebag");
        const bool isThere = !m_phone.installedVersion(package).isEmpty();
        QVERIFY(m_phone.startReady({QStringLiteral("show")}));
        m_phone.forget();
        m_phone.client()->clearLog();
        if (kill % 3 == 0)
            QVERIFY(m_phone.call(QStringLiteral("downloadOsUpdate"), {release}));
        else if (isThere)
            QVERIFY(m_phone.call(QStringLiteral("removePackage"), {package, false}));
        else
            QVERIFY(m_phone.call(QStringLiteral("installPackage"), {package}));
        const int life = random.bounded(longestLife);
        // A short job may have less to say than that.
        (void)m_phone.waitUntil([&] { return m_phone.client()->log().size() >= life; }, 1000);
        QVERIFY(m_phone.client()->isRunning());
        m_phone.killClient();
        QVERIFY(m_phone.waitUntil([this] { return m_phone.isIdle(); }, 30000));
    }

    QVERIFY(m_phone.startReady({QStringLiteral("show")}));
    m_phone.forget();
    QVERIFY(m_phone.call(QStringLiteral("installPackage"), {QStringLiteral("tally")}));
    QVERIFY(m_phone.waitToHear(QStringLiteral("installPackageResult tally true"), 30000));
    QVERIFY(!m_phone.installedVersion(QStringLiteral("tally")).isEmpty());
    QVERIFY(m_phone.stopClient());
}

QTEST_GUILESS_MAIN(TstKills)

#include "tst_kills.moc"
