#include "clienttest.h"

#include "dbusconnector.h"
#include "kioskclient.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "service.h"
#include "theme.h"

#include <QDBusMessage>
#include <QElapsedTimer>
#include <QSignalSpy>

namespace {

const QString game = text("fernweh"); // in the store, not installed
const QString unknown = text("never-heard-of");

} // namespace

/** What is told to callers, to the home screen and by it, about applications. */
class TstPackageOrchestration : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void launcherFails_data();
    void launcherFails();
    void tapOnTheLauncher();
    void packageInfo();
    void accountType();
    void startupApplications_data();
    void startupApplications();
};

void TstPackageOrchestration::launcherFails_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<int>("delay"); // milliseconds
    QTest::newRow("refuses") << "error" << 0;
    QTest::newRow("answers late") << "hang" << 500;
}

/** The install waits for the launcher's answer and does not care for it. */
void TstPackageOrchestration::launcherFails()
{
    QFETCH(QString, verb);
    QFETCH(int, delay);
    openScene();
    goReady();
    m_services.command(verb,
                       {{text("method"), text("launcher.updatingStarted")}, {text("ms"), delay}});
    QSignalSpy status(m_service, &Service::packageStatusChanged);
    QSignalSpy result(m_service, &Service::installPackageResult);
    QElapsedTimer clock;
    clock.start();
    m_connector->installPackage(game);
    QTRY_VERIFY(!status.isEmpty());
    QVERIFY(clock.elapsed() >= delay);
    QTRY_COMPARE(result.size(), 1);
    QCOMPARE(result.at(0), (QVariantList{game, true}));
}

/** Only a package that is being worked on is shown. */
void TstPackageOrchestration::tapOnTheLauncher()
{
    openScene();
    const QString package = m_handler->knownPackages().constFirst();
    const auto tap = [this](const QVariantList &arguments) {
        QDBusMessage message =
            QDBusMessage::createSignal(text("/a"), text("a.b"), text("showUpdatingProgress"));
        message.setArguments(arguments);
        QVERIFY(QMetaObject::invokeMethod(m_connector, "showUpdatingRequested",
                                          Q_ARG(QDBusMessage, message)));
    };
    tap({unknown});
    tap({package});
    m_packageKit.script({{{text("role"), text("*")}, {text("hang"), true}}});
    m_connector->removePackage(package, false);
    tap({package, package});
    QCOMPARE(logged("scene showApp"), 0);
    m_services.command(text("show-updating"), {{text("package"), package}});
    QTRY_COMPARE(LogCapture::lines("scene showApp"), QStringList{text("scene showApp ") + package});
}

void TstPackageOrchestration::packageInfo()
{
    openScene();
    goReady();
    QSignalSpy info(m_service, &Service::packageInfoResult);
    m_connector->packageInfo(unknown);
    QTRY_COMPARE(info.size(), 1);
    QCOMPARE(info.at(0), (QVariantList{QString(), text("Untitled"), QString()}));
    // From the store, and from what is known of it then.
    for (const int count : {2, 3}) {
        m_connector->packageInfo(game);
        QTRY_COMPARE(info.size(), count);
        QCOMPARE(info.constLast().mid(0, 2), (QVariantList{game, text("Fernweh")}));
    }
    const QString icon = m_store->application(m_store->cachedApplicationUuid(game))->icon;
    QVERIFY(icon.startsWith(QLatin1String("scaled://")));
    const int size = int(Vitrex::Theme::iconSizeLauncher());
    QCOMPARE(info.at(2).at(2).toString(), m_store->scaledImageUrl(icon, size, size));

    QSignalSpy ambience(m_service, &Service::installingAmbience);
    m_connector->installingAmbience(game, unknown, icon);
    QCOMPARE(ambience.value(0),
             (QVariantList{game, unknown, m_store->scaledImageUrl(icon, 270, 270)}));
}

/** One install after the other, each with a result of its own. */
void TstPackageOrchestration::accountType()
{
    openScene();
    // Each is looked for among what is installed and then among what there is.
    m_packageKit.script(
        {canned("Resolve"), canned("Resolve", {packageRow(2, text("orvik-email;2;noarch;store"))}),
         canned("Resolve"),
         canned("Resolve", {packageRow(2, text("orvik-calendar;2;noarch;store"))}), cannedRest()});
    goReady();
    QSignalSpy result(m_service, &Service::installPackageResult);
    m_connector->installAccountType(text("google"));
    QTRY_COMPARE_WITH_TIMEOUT(result.size(), 2, 20000);
    QCOMPARE(result.at(0), (QVariantList{text("orvik-email"), true}));
    QCOMPARE(result.at(1), (QVariantList{text("orvik-calendar"), true}));
    QTRY_VERIFY(!m_handler->isBusy());
}

void TstPackageOrchestration::startupApplications_data()
{
    QTest::addColumn<QString>("first"); // pages of the maker's category
    QTest::addColumn<QString>("second");
    QTest::addColumn<QStringList>("list"); // empty: nothing is ever told

    const QString pages = text(R"({"meta": {"next": "%1"}, "objects": [
        {"uuid": "u1", "title": "Mail", "package_name": "orvik-email"},
        {"uuid": "u2", "title": "Calendar", "package_name": "orvik-calendar", "summary": "Days",
         "icon": "/c.png"}]})");
    const QString end = text(R"({"meta": {"next": null}, "objects": [
        {"uuid": "u3", "title": "Notes", "package_name": "notes"}]})");
    const QString calendar = text("Calendar orvik-calendar orvik 1 1 Days /c.png");
    const QStringList markets{text("Bazaar bazaar marketplace 0 0  "),
                              text("A quayside-apk-com.aptoide.partners marketplace 0 1  ")};
    QTest::newRow("two pages") << pages.arg(text("/more/")) << end
                               << QStringList{calendar, text("Notes notes orvik 0 1  ")} + markets;
    QTest::newRow("a list that leads back to itself")
        << pages.arg(text("/more/")) << pages.arg(text("/more/"))
        << QStringList{calendar, calendar} + markets;
    QTest::newRow("no list") << QString() << end << QStringList();
}

/** What is installed is left out, even what an account needs. */
void TstPackageOrchestration::startupApplications()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(QStringList, list);
    const auto serve = [this](const char *path, const QString &body) {
        QJsonObject fault{
            {text("path"), QLatin1String(path)}, {text("do"), text("body")}, {text("body"), body}};
        if (body.isEmpty())
            fault = with(with(fault, "do", text("status")), "status", 500);
        m_storeSimulator.command(text("fault"), fault);
    };
    serve("/more/", second);
    serve("^.*category__uuid_incl_subs=acc31a96.*", first);
    serve("^.*category__uuid_incl_subs=ecbc1dac.*", text(R"({"meta": {"next": null}, "objects": [
        {"uuid": "u4", "title": "Bazaar", "package_name": "bazaar"},
        {"uuid": "u5", "title": "A", "package_name": "quayside-apk-com.aptoide.partners"}]})"));
    m_packageKit.script(
        {canned("GetPackages", {packageRow(1, text("orvik-email;1;noarch;installed"))})});
    openScene();
    QSignalSpy told(m_service, &Service::startupApplicationsResult);
    m_connector->startupApplications({text("google"), text("nobody")});
    if (list.isEmpty()) {
        goReady();
        QSignalSpy later(m_service, &Service::packageInfoResult);
        m_connector->packageInfo(game);
        QTRY_COMPARE(later.size(), 1);
        QCOMPARE(told.size(), 0);
        QVERIFY(m_connector->isBusy());
        return;
    }
    QTRY_COMPARE_WITH_TIMEOUT(told.size(), 1, 20000);
    QStringList lines;
    const auto applications = told.at(0).at(0).value<QList<StartupAppData>>();
    for (const StartupAppData &data : applications) {
        lines.append(text("%1 %2 %3 %4 %5 %6 %7")
                         .arg(data.name, data.packageName, data.category)
                         .arg(data.required)
                         .arg(data.preselected)
                         .arg(data.summary, data.icon));
    }
    QCOMPARE(lines, list);
}

int main(int argc, char *argv[])
{
    return runClientTest<TstPackageOrchestration>(argc, argv);
}

#include "tst_packageorchestration.moc"
