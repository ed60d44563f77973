#include "clienttest.h"

#include "cachedirectory.h"
#include "contentmodel.h"
#include "kioskclient.h"
#include "notification.h"
#include "orvikstore.h"
#include "packagehandler.h"

#include <QQuickView>
#include <QSignalBlocker>

namespace {

const QString softwareUpdate = text("x-tesk.software-update");
const QString systemUpdate = text("x-tesk.system-update");

/** What is on show, as lines that a failing test can print. */
QStringList shown(const QString &category)
{
    QStringList lines;
    const auto all = Notification::notifications();
    for (const auto &notification : all) {
        if (notification->category() == category) {
            lines.append(text("%1|%2|%3")
                             .arg(notification->replacesId())
                             .arg(notification->itemCount())
                             .arg(notification->body()));
        }
    }
    return lines;
}

QString line(uint id, int count, const QString &body)
{
    return text("%1|%2|%3").arg(id).arg(count).arg(body);
}

uint publish(const QString &category, int count, const QString &body)
{
    Notification notification;
    notification.setCategory(category);
    notification.setItemCount(count);
    notification.setBody(body);
    notification.publish();
    return notification.replacesId();
}

void closeAll()
{
    const auto all = Notification::notifications();
    for (const auto &notification : all)
        notification->close();
}

} // namespace

/** What is published, renewed and taken away, against the notification server of the phone. */
class TstKioskClientNotifications : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void updates_data();
    void updates();
    void systemUpdate_data();
    void systemUpdate();
    void says_data();
    void says();
    void areClearedForGood();

private:
    void offer(const QString &version);
};

void TstKioskClientNotifications::init()
{
    ClientTest::init();
    closeAll();
    openScene();
}

void TstKioskClientNotifications::offer(const QString &version)
{
    OsInfo info;
    info.version = version;
    call("slotOsUpdateInfo", Q_ARG(OsInfo, info));
}

void TstKioskClientNotifications::updates_data()
{
    QTest::addColumn<QList<int>>("standing"); // counts of the notifications before
    QTest::addColumn<int>("updates");
    // What stands afterwards: for each one the index of the one before that it is or renews,
    // -1 for a new one, with its count.
    QTest::addColumn<QList<int>>("ids");
    QTest::addColumn<QList<int>>("counts");

    using Ints = QList<int>;
    QTest::newRow("nothing to say") << Ints{} << 0 << Ints{} << Ints{};
    QTest::newRow("first updates") << Ints{} << 2 << Ints{-1} << Ints{2};
    QTest::newRow("all updated") << Ints{2} << 0 << Ints{} << Ints{};
    QTest::newRow("all updated, two stood") << Ints{2, 1} << 0 << Ints{} << Ints{};
    QTest::newRow("same count") << Ints{2} << 2 << Ints{0} << Ints{2};
    QTest::newRow("more updates") << Ints{1} << 2 << Ints{0} << Ints{2};
    QTest::newRow("fewer updates") << Ints{3} << 1 << Ints{0} << Ints{1};
    QTest::newRow("the last of several is renewed") << Ints{1, 3} << 2 << Ints{0, 1} << Ints{1, 2};
    QTest::newRow("one of several says so") << Ints{2, 1} << 2 << Ints{0, 1} << Ints{2, 1};
    QTest::newRow("the last of several says so") << Ints{1, 2} << 2 << Ints{0, 1} << Ints{1, 2};
}

void TstKioskClientNotifications::updates()
{
    QFETCH(QList<int>, standing);
    QFETCH(int, updates);
    QFETCH(QList<int>, ids);
    QFETCH(QList<int>, counts);
    const QString old = text("old");
    QList<uint> before;
    for (const int count : qAsConst(standing))
        before.append(publish(softwareUpdate, count, old));
    const uint other = publish(text("x-orvik.store.error"), 2, old);

    QStringList names;
    {
        const QSignalBlocker quiet(m_installed);
        const QStringList packages = m_handler->knownPackages();
        for (int i = 0; i < updates; ++i) {
            const QString title = text("App %1").arg(i);
            m_installed->addApplication(known(packages.at(i), title));
        }
        QCOMPARE(m_installed->updatablePackages().size(), updates);
        for (const QString &package : m_installed->updatablePackages())
            names.append(m_store->application(m_store->cachedApplicationUuid(package))->title);
    }
    call("slotUpdateCountChanged");

    QStringList expected;
    for (int i = 0; i < ids.size(); ++i) {
        const bool same = ids.at(i) >= 0 && standing.at(ids.at(i)) == counts.at(i);
        const auto published = Notification::notifications();
        const uint id = ids.at(i) >= 0 ? before.at(ids.at(i)) : published.last()->replacesId();
        expected.append(line(id, counts.at(i), same ? old : names.join(text(", "))));
    }
    QCOMPARE(shown(softwareUpdate), expected);
    QCOMPARE(shown(text("x-orvik.store.error")), QStringList{line(other, 2, old)});
}

void TstKioskClientNotifications::systemUpdate_data()
{
    QTest::addColumn<QStringList>("standing"); // versions of the notifications before
    QTest::addColumn<QString>("version");
    QTest::addColumn<QList<int>>("ids"); // as in updates_data()
    QTest::addColumn<QStringList>("versions");

    const QString one = text("1.0");
    const QString two = text("2.0");
    using Ints = QList<int>;
    using Texts = QStringList;
    QTest::newRow("nothing on offer") << Texts{} << QString() << Ints{} << Texts{};
    QTest::newRow("first offer") << Texts{} << one << Ints{-1} << Texts{one};
    QTest::newRow("offer withdrawn") << Texts{one} << QString() << Ints{} << Texts{};
    QTest::newRow("both withdrawn") << Texts{one, two} << QString() << Ints{} << Texts{};
    QTest::newRow("same offer") << Texts{one} << one << Ints{0} << Texts{one};
    QTest::newRow("newer offer") << Texts{one} << two << Ints{0} << Texts{two};
    QTest::newRow("what stands after the right one goes")
        << Texts{one, two} << one << Ints{0} << Texts{one};
    QTest::newRow("what stands before the right one stays")
        << Texts{one, two} << two << Ints{0, 1} << Texts{one, two};
}

void TstKioskClientNotifications::systemUpdate()
{
    QFETCH(QStringList, standing);
    QFETCH(QString, version);
    QFETCH(QList<int>, ids);
    QFETCH(QStringList, versions);
    const QString text = qtTrId("orvik-store-no-system_update_version");
    QVERIFY(text.contains(QLatin1String("%1")));
    QList<uint> before;
    for (const QString &old : qAsConst(standing))
        before.append(publish(::systemUpdate, 1, text.arg(old)));
    offer(version);

    QStringList expected;
    for (int i = 0; i < ids.size(); ++i) {
        const auto published = Notification::notifications();
        const uint id = ids.at(i) >= 0 ? before.at(ids.at(i)) : published.last()->replacesId();
        expected.append(line(id, 1, text.arg(versions.at(i))));
    }
    QCOMPARE(shown(::systemUpdate), expected);
}

void TstKioskClientNotifications::says_data()
{
    QTest::addColumn<Deed>("event");
    QTest::addColumn<QString>("category");
    QTest::addColumn<QStringList>("texts"); // summary, body, and both of the preview
    QTest::addColumn<QString>("call"); // method and arguments of a touch

    const auto row = [](const char *name, const char *category, const QStringList &texts,
                        const char *call, const Deed &event) {
        QTest::newRow(name) << event << text(category) << texts << text(call);
    };
    const QString none;
    const QString chess = text("chess");
    const QString boats = text("boats");
    const QString file = text("/tmp/a.rpm");
    const QString bad = text("too bad");

    row("an update", "x-tesk.software-update",
        {qtTrId("orvik-store-no-updates_available_include_n", 1), text("New"), none, none},
        "com.orvik.orvikstore/KioskClient com.orvik.orvikstore update", [this] {
            const QString package = m_handler->knownPackages().constFirst();
            m_installed->addApplication(known(package, text("New")));
        });
    const QString available = qtTrId("orvik-store-no-system_update_available");
    const QString release = qtTrId("orvik-store-no-system_update_version").arg(text("9"));
    row("a system update", "x-tesk.system-update", {available, release, available, release},
        "com.orvik.settings/com/orvik/settings/ui com.orvik.settings.ui showBranwickOs",
        [this] { offer(text("9")); });
    for (const QString &package : {chess, boats}) {
        const QString name = package == chess ? text("Chess %1") : package;
        row(qPrintable(package + text(" failed")), "x-orvik.store.install-failed",
            {qtTrId("orvik-store-no-install_failed"), name, none, none},
            qPrintable(text("com.orvik.orvikstore/KioskClient com.orvik.orvikstore "
                            "showApp ")
                       + package),
            [=] { call("slotInstallFailed", Q_ARG(QString, package)); });
    }
    for (const bool works : {true, false}) {
        row(works ? "side-loaded" : "not side-loaded",
            works ? "x-orvik.store.sideloading-success" : "x-orvik.store.sideloading-failed",
            {none, none,
             works ? qtTrId("orvik-store-no-sideloading_success")
                   : qtTrId("orvik-store-no-sideloading_failed"),
             file},
            "", [=] { call("slotSideLoadingFinished", Q_ARG(QString, file), Q_ARG(bool, works)); });
    }
    const char *error = "x-orvik.store.error";
    row("back cover failed", error, {none, none, qtTrId("orvik-store-no-bkp_install_failed"), bad},
        "", [=] { call("slotBackplateInstallationFailed", Q_ARG(QString, bad)); });
    const QString problem = qtTrId("orvik-store-no-error");
    row("an error", error, {none, none, problem, bad}, "",
        [=] { call("slotHandleError", Q_ARG(QString, bad)); });

    const auto packageError = [&](const char *name, const char *details, const char *package,
                                  const char *body) {
        const QString problemText = text(details);
        const QString about = text(package);
        row(name, error, {none, none, problem, text(body)}, "", [=] {
            call("slotHandlePackageError", Q_ARG(QString, problemText), Q_ARG(QString, about));
        });
    };
    packageError("of a known package", "No %1!", "chess", "No Chess %1!");
    packageError("of an unknown package", "No %1!", "boats", "No boats!");
    packageError("of one without a title", "No %1!", "nameless", "No nameless!");
    packageError("no place for a name", "50% of %2", "chess", "50% of %2");
    packageError("nothing to say", "", "chess", "");
}

void TstKioskClientNotifications::says()
{
    QFETCH(Deed, event);
    QFETCH(QString, category);
    known(text("chess"), text("Chess %1"));
    known(text("nameless"), QString());
    event();
    const auto published = Notification::notifications();
    QCOMPARE(published.size(), 1);
    const auto &one = published.constFirst();
    QCOMPARE(one->category(), category);
    const QStringList said{one->summary(), one->body(), one->previewSummary(), one->previewBody()};
    QTEST(said, "texts");
    if (category == ::systemUpdate)
        QCOMPARE(one->appName(), qtTrId("orvik-store-no-system_update_category"));
    QStringList touch{one->remoteDBusCallServiceName() + one->remoteDBusCallObjectPath(),
                      one->remoteDBusCallInterface(), one->remoteDBusCallMethodName()};
    for (const QVariant &argument : one->remoteDBusCallArguments())
        touch.append(argument.toString());
    QTEST(touch.join(QLatin1Char(' ')).trimmed(), "call");
}

/** From then on this run says nothing more about updates, not even what is new. */
void TstKioskClientNotifications::areClearedForGood()
{
    const QStringList packages = m_handler->knownPackages();
    m_installed->addApplication(known(packages.at(0), text("Chess")));
    OsInfo info;
    info.version = text("9.1");
    Q_EMIT m_handler->osUpdateInfo(info);
    QCOMPARE(shown(softwareUpdate).size(), 1);
    QCOMPARE(shown(::systemUpdate).size(), 1);

    call("slotClearOsUpdateCheckCache");
    QCOMPARE(Notification::notifications().size(), 0);
    QVERIFY(cacheDirectory().exists(text("os-info"))); // for the next run
    m_installed->addApplication(known(packages.at(1), text("Boats")));
    info.version = text("9.2");
    Q_EMIT m_handler->osUpdateInfo(info);
    Q_EMIT m_store->osUpdateInfo(info);
    QCOMPARE(Notification::notifications().size(), 0);
}

int main(int argc, char *argv[])
{
    return runClientTest<TstKioskClientNotifications>(argc, argv);
}

#include "tst_kioskclientnotifications.moc"
