#include "kioskclient.h"

#include "contentmodel.h"
#include "mdeclarativecache.h"
#include "notification.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "scenefile.h"
#include "simulatorclient.h"

#include <QGuiApplication>
#include <QQmlContext>
#include <QQuickView>
#include <QSignalBlocker>
#include <QTest>
#include <QTranslator>

#include <memory>

namespace {

const QString softwareUpdate = QStringLiteral("x-tesk.software-update");
const QString systemUpdate = QStringLiteral("x-tesk.system-update");

/** What is on show, as lines that a failing test can print. */
QStringList shown(const QString &category)
{
    QStringList lines;
    const auto all = Notification::notifications();
    for (const auto &notification : all) {
        if (notification->category() == category) {
            lines.append(QStringLiteral("%1|%2|%3")
                             .arg(notification->replacesId())
                             .arg(notification->itemCount())
                             .arg(notification->body()));
        }
    }
    return lines;
}

QString line(uint id, int count, const QString &body)
{
    return QStringLiteral("%1|%2|%3").arg(id).arg(count).arg(body);
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

QSharedPointer<Notification> only(const QString &category)
{
    QSharedPointer<Notification> found;
    const auto all = Notification::notifications();
    for (const auto &notification : all) {
        if (notification->category() != category)
            continue;
        if (found)
            return {};
        found = notification;
    }
    return found;
}

} // namespace

/** What is published, renewed and taken away, against the notification server of the phone. */
class TstKioskClientNotifications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void updates_data();
    void updates();
    void updatesSayWhatTheyAre();
    void systemUpdate_data();
    void systemUpdate();
    void systemUpdateSaysWhatItIs();
    void oneShot_data();
    void oneShot();
    void packageErrors_data();
    void packageErrors();
    void areClearedForGood();

private:
    template <typename... Arguments>
    void call(const char *slot, Arguments... arguments);
    /** Makes the store know an application. @return its uuid. */
    QString known(const QString &package, const QString &title);
    template <typename T>
    T *contextObject(const char *name) const;

    SimulatorClient m_services{QStringLiteral("Services")};
    std::unique_ptr<KioskClient> m_client;
    OrvikStore *m_store = nullptr;
    ContentModel *m_installed = nullptr;
    PackageHandler *m_handler = nullptr;
};

template <typename T>
T *TstKioskClientNotifications::contextObject(const char *name) const
{
    const QVariant value =
        MDeclarativeCache::qQuickView()->rootContext()->contextProperty(QLatin1String(name));
    return qobject_cast<T *>(value.value<QObject *>());
}

template <typename... Arguments>
void TstKioskClientNotifications::call(const char *slot, Arguments... arguments)
{
    QVERIFY(QMetaObject::invokeMethod(m_client.get(), slot, Qt::DirectConnection, arguments...));
}

QString TstKioskClientNotifications::known(const QString &package, const QString &title)
{
    Store::Application app;
    app.valid = true;
    app.uuid = QStringLiteral("uuid-") + package;
    app.packageName = package;
    app.title = title;
    app.version = QStringLiteral("99");
    m_store->addApplication(QSharedPointer<const Store::Application>::create(app));
    return app.uuid;
}

void TstKioskClientNotifications::init()
{
    QVERIFY(SceneFile::writeMain());
    closeAll();
    QCOMPARE(Notification::notifications().size(), 0);
    m_client = std::make_unique<KioskClient>(QStringList());
    QVERIFY(m_client->hasService());
    call("slotCreateUi");
    m_store = contextObject<OrvikStore>("orvikStore");
    m_installed = contextObject<ContentModel>("installedModel");
    m_handler = contextObject<PackageHandler>("packageHandler");
    QTRY_VERIFY(m_handler->packagesCount() > 3);
}

void TstKioskClientNotifications::cleanup()
{
    m_client.reset();
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
    const QString old = QStringLiteral("old");
    QList<uint> before;
    for (const int count : qAsConst(standing))
        before.append(publish(softwareUpdate, count, old));
    const uint other = publish(QStringLiteral("x-orvik.store.error"), 2, old);

    QStringList names;
    {
        const QSignalBlocker quiet(m_installed);
        const QStringList packages = m_handler->knownPackages();
        for (int i = 0; i < updates; ++i) {
            const QString title = QStringLiteral("App %1").arg(i);
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
        expected.append(line(id, counts.at(i), same ? old : names.join(QStringLiteral(", "))));
    }
    QCOMPARE(shown(softwareUpdate), expected);
    QCOMPARE(shown(QStringLiteral("x-orvik.store.error")), QStringList{line(other, 2, old)});
}

void TstKioskClientNotifications::updatesSayWhatTheyAre()
{
    m_installed->addApplication(
        known(m_handler->knownPackages().constFirst(), QStringLiteral("Chess")));
    const auto notification = only(softwareUpdate);
    QVERIFY(notification);
    QCOMPARE(notification->summary(), qtTrId("orvik-store-no-updates_available_include_n", 1));
    QVERIFY(notification->summary().contains(QLatin1Char('1')));
    QCOMPARE(notification->body(), QStringLiteral("Chess"));
    QCOMPARE(notification->remoteDBusCallServiceName(), QStringLiteral("com.orvik.orvikstore"));
    QCOMPARE(notification->remoteDBusCallObjectPath(), QStringLiteral("/KioskClient"));
    QCOMPARE(notification->remoteDBusCallInterface(), QStringLiteral("com.orvik.orvikstore"));
    QCOMPARE(notification->remoteDBusCallMethodName(), QStringLiteral("update"));
    QVERIFY(notification->remoteDBusCallArguments().isEmpty());
}

void TstKioskClientNotifications::systemUpdate_data()
{
    QTest::addColumn<QStringList>("standing"); // versions of the notifications before
    QTest::addColumn<QString>("version");
    QTest::addColumn<QList<int>>("ids"); // as in updates_data()
    QTest::addColumn<QStringList>("versions");

    const QString one = QStringLiteral("1.0");
    const QString two = QStringLiteral("2.0");
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
    OsInfo info;
    info.version = version;
    call("slotOsUpdateInfo", Q_ARG(OsInfo, info));

    QStringList expected;
    for (int i = 0; i < ids.size(); ++i) {
        const auto published = Notification::notifications();
        const uint id = ids.at(i) >= 0 ? before.at(ids.at(i)) : published.last()->replacesId();
        expected.append(line(id, 1, text.arg(versions.at(i))));
    }
    QCOMPARE(shown(::systemUpdate), expected);
}

void TstKioskClientNotifications::systemUpdateSaysWhatItIs()
{
    OsInfo info;
    info.version = QStringLiteral("9.1");
    call("slotOsUpdateInfo", Q_ARG(OsInfo, info));
    const auto notification = only(::systemUpdate);
    QVERIFY(notification);
    const QString summary = qtTrId("orvik-store-no-system_update_available");
    QCOMPARE(notification->summary(), summary);
    QCOMPARE(notification->previewSummary(), summary);
    QVERIFY(notification->body().contains(info.version));
    QCOMPARE(notification->previewBody(), notification->body());
    QCOMPARE(notification->appName(), qtTrId("orvik-store-no-system_update_category"));
    QCOMPARE(notification->remoteDBusCallServiceName(), QStringLiteral("com.orvik.settings"));
    QCOMPARE(notification->remoteDBusCallObjectPath(), QStringLiteral("/com/orvik/settings/ui"));
    QCOMPARE(notification->remoteDBusCallInterface(), QStringLiteral("com.orvik.settings.ui"));
    QCOMPARE(notification->remoteDBusCallMethodName(), QStringLiteral("showBranwickOs"));
}

void TstKioskClientNotifications::oneShot_data()
{
    QTest::addColumn<QString>("event");
    QTest::addColumn<QString>("category");
    QTest::addColumn<QString>("fields"); // summary|body|previewSummary|previewBody
    QTest::addColumn<QString>("method");

    const auto row = [](const char *event, const char *category, const QString &fields,
                        const char *method = "") {
        QTest::newRow(event) << QString::fromLatin1(event) << QString::fromLatin1(category)
                             << fields << QString::fromLatin1(method);
    };
    row("install failed", "x-orvik.store.install-failed",
        qtTrId("orvik-store-no-install_failed") + QStringLiteral("|Chess||"), "showApp");
    row("install of unknown failed", "x-orvik.store.install-failed",
        qtTrId("orvik-store-no-install_failed") + QStringLiteral("|boats||"), "showApp");
    row("side-loaded", "x-orvik.store.sideloading-success",
        QStringLiteral("||%1|/tmp/a.rpm").arg(qtTrId("orvik-store-no-sideloading_success")));
    row("side-load failed", "x-orvik.store.sideloading-failed",
        QStringLiteral("||%1|/tmp/a.rpm").arg(qtTrId("orvik-store-no-sideloading_failed")));
    row("error", "x-orvik.store.error",
        QStringLiteral("||%1|too bad").arg(qtTrId("orvik-store-no-error")));
    row("back cover failed", "x-orvik.store.error",
        QStringLiteral("||%1|too bad").arg(qtTrId("orvik-store-no-bkp_install_failed")));
}

void TstKioskClientNotifications::oneShot()
{
    QFETCH(QString, event);
    QFETCH(QString, category);
    QFETCH(QString, fields);
    QFETCH(QString, method);
    const QString chess = QStringLiteral("chess");
    const QString boats = QStringLiteral("boats");
    const QString file = QStringLiteral("/tmp/a.rpm");
    const QString text = QStringLiteral("too bad");
    known(chess, QStringLiteral("Chess"));
    if (event == QLatin1String("install failed"))
        call("slotInstallFailed", Q_ARG(QString, chess));
    else if (event == QLatin1String("install of unknown failed"))
        call("slotInstallFailed", Q_ARG(QString, boats));
    else if (event.startsWith(QLatin1String("side-load")))
        call("slotSideLoadingFinished", Q_ARG(QString, file),
             Q_ARG(bool, event == QLatin1String("side-loaded")));
    else if (event == QLatin1String("error"))
        call("slotHandleError", Q_ARG(QString, text));
    else
        call("slotBackplateInstallationFailed", Q_ARG(QString, text));

    const auto notification = only(category);
    QVERIFY(notification);
    QCOMPARE(QStringList({notification->summary(), notification->body(),
                          notification->previewSummary(), notification->previewBody()})
                 .join(QLatin1Char('|')),
             fields);
    QCOMPARE(notification->remoteDBusCallMethodName(), method);
    if (!method.isEmpty()) {
        QCOMPARE(notification->remoteDBusCallArguments(),
                 QVariantList{event == QLatin1String("install failed") ? chess : boats});
    }
}

void TstKioskClientNotifications::packageErrors_data()
{
    QTest::addColumn<QString>("details");
    QTest::addColumn<QString>("package");
    QTest::addColumn<QString>("body");
    QTest::newRow("known") << QStringLiteral("No %1!") << QStringLiteral("chess")
                           << QStringLiteral("No Chess %1!");
    QTest::newRow("unknown") << QStringLiteral("No %1!") << QStringLiteral("boats")
                             << QStringLiteral("No boats!");
    QTest::newRow("known without a title")
        << QStringLiteral("No %1!") << QStringLiteral("nameless") << QStringLiteral("No nameless!");
    QTest::newRow("no place for a name")
        << QStringLiteral("50% of %2") << QStringLiteral("chess") << QStringLiteral("50% of %2");
    QTest::newRow("nothing to say") << QString() << QStringLiteral("chess") << QString();
}

void TstKioskClientNotifications::packageErrors()
{
    QFETCH(QString, details);
    QFETCH(QString, package);
    known(QStringLiteral("chess"), QStringLiteral("Chess %1"));
    known(QStringLiteral("nameless"), QString());
    call("slotHandlePackageError", Q_ARG(QString, details), Q_ARG(QString, package));
    const auto notification = only(QStringLiteral("x-orvik.store.error"));
    QVERIFY(notification);
    QTEST(notification->previewBody(), "body");
}

/** From then on this run says nothing more about updates, not even what is new. */
void TstKioskClientNotifications::areClearedForGood()
{
    const QStringList packages = m_handler->knownPackages();
    m_installed->addApplication(known(packages.at(0), QStringLiteral("Chess")));
    OsInfo info;
    info.version = QStringLiteral("9.1");
    Q_EMIT m_handler->osUpdateInfo(info);
    QVERIFY(only(softwareUpdate));
    QVERIFY(only(::systemUpdate));

    call("slotClearOsUpdateCheckCache");
    QCOMPARE(Notification::notifications().size(), 0);
    m_installed->addApplication(known(packages.at(1), QStringLiteral("Boats")));
    info.version = QStringLiteral("9.2");
    Q_EMIT m_handler->osUpdateInfo(info);
    Q_EMIT m_store->osUpdateInfo(info);
    QCOMPARE(Notification::notifications().size(), 0);
}

int main(int argc, char *argv[])
{
    QGuiApplication *application = MDeclarativeCache::qApplication(argc, argv);
    int status = 1;
    {
        QTranslator english;
        if (english.load(QStringLiteral("/usr/share/translations/orvik-store_eng_en")))
            QCoreApplication::installTranslator(&english);
        TstKioskClientNotifications test;
        status = QTest::qExec(&test, argc, argv);
    }
    delete application;
    return status;
}

#include "tst_kioskclientnotifications.moc"
