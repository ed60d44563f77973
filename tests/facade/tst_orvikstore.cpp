#include "orvikstore.h"
#include "text.h"

#include "logcapture.h"
#include "simulatorclient.h"
#include "storeimageprovider.h"
#include "testaccount.h"

#include <QImage>
#include <QJSEngine>
#include <QQmlEngine>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QString checkPath = text("/api/v001/application/");
const QString tokenPath = text("/oauth/token");
const QString dialogCall = text("dialog.openConnectionNow");
const QString icon = text("https://api.orvik-store.example/static/icon/dicebag/86x86.png");
const QString localIcon = text("image://store/static/icon/dicebag/86x86.png");

} // namespace

/** The facade inside a phone: account, TLS, and a simulated store that plays faults. */
class TstOrvikStore : public QObject
{
    Q_OBJECT

public:
    /** For the scene's functions. */
    Q_INVOKABLE void note(const QString &entry);

private Q_SLOTS:
    void init();
    void cleanup();

    void connects();
    void discoveryFails();
    void connectsWhenTheNetworkComes();
    void signInFails_data();
    void signInFails();
    void renewalLeavesReadyAlone();
    void refusedDuringARenewal();
    void anyFailureEndsConnecting();
    void needsNobodyBeforeItIsReady();

    void recordsAreFetchedOnce();
    void localRecords();
    void resolvesPackages();
    void resolvingSurvivesFaults();
    void reviews();
    void backCovers();
    void installedApplications();

    void localImages();
    void oneFetchServesAll();
    void failedImages();
    void failedImageIsNotFetchedOverAndOver();
    void cancelledCallbacks();
    void callbackOfAnEngineThatHasGone();
    void scaledImages();

    void osUpdate_data();
    void osUpdate();
    void osUpdateChecksAreNotDoubled();
    void missingDetailsBlockChecks();

private:
    [[nodiscard]] bool connectStore();
    [[nodiscard]] QString resolve(const QString &packageName);
    [[nodiscard]] int requests(const QString &path);
    void setNetwork(bool isOnline);
    QJSValue function(const QString &name);
    [[nodiscard]] QString takeNotes();

    std::unique_ptr<QTemporaryDir> m_cache;
    SimulatorClient m_simulator{text("Store")};
    SimulatorClient m_services{text("Services")};
    std::unique_ptr<StoreImageProvider> m_images;
    std::unique_ptr<OrvikStore> m_store;
    std::unique_ptr<QJSEngine> m_engine;
    QStringList m_notes;
    QList<int> m_states; // that the connection has gone through
};

void TstOrvikStore::init()
{
    m_cache = std::make_unique<QTemporaryDir>();
    qputenv("XDG_CACHE_HOME", QFile::encodeName(m_cache->path()));
    m_simulator.command("reset");
    m_services.command("reset");
    TestAccount().repair();
    m_images = std::make_unique<StoreImageProvider>();
    m_store = std::make_unique<OrvikStore>(m_images.get(), nullptr);
    m_states.clear();
    connect(m_store.get(), &OrvikStore::connectionStateChanged, this,
            [this] { m_states.append(m_store->connectionState()); });
    m_engine = std::make_unique<QJSEngine>();
    QQmlEngine::setObjectOwnership(this, QQmlEngine::CppOwnership);
    m_engine->globalObject().setProperty(text("test"), m_engine->newQObject(this));
    QQmlEngine::setObjectOwnership(m_store.get(), QQmlEngine::CppOwnership);
    m_engine->globalObject().setProperty(text("store"), m_engine->newQObject(m_store.get()));
    m_notes.clear();
}

void TstOrvikStore::cleanup()
{
    m_store.reset();
    m_engine.reset();
    m_images.reset();
}

bool TstOrvikStore::connectStore()
{
    m_store->tryConnect();
    const bool connected =
        QTest::qWaitFor([this] { return m_store->connectionState() == OrvikStore::Ready; }, 20000);
    m_simulator.clearLog();
    return connected;
}

/** The uuid of a package's application, which is cached then. */
QString TstOrvikStore::resolve(const QString &packageName)
{
    QSignalSpy resolved(m_store.get(), &OrvikStore::packageResolved);
    m_store->resolvePackage(packageName);
    if (resolved.isEmpty())
        resolved.wait();
    return resolved.value(0).value(1).toString();
}

/** How many requests the store has got for a path that begins so. */
int TstOrvikStore::requests(const QString &path)
{
    return m_simulator.requests(path).size();
}

void TstOrvikStore::setNetwork(bool isOnline)
{
    QTRY_VERIFY(m_store->isOnline() || isOnline);
    if (m_store->isOnline() == isOnline)
        return;
    QSignalSpy changed(m_store.get(), &OrvikStore::onlineStatusChanged);
    m_services.command("connman", isOnline ? R"({"state": "online"})" : R"({"state": "idle"})");
    QTRY_COMPARE(changed.size(), 1);
    QCOMPARE(m_store->isOnline(), isOnline);
}

QJSValue TstOrvikStore::function(const QString &name)
{
    return m_engine->evaluate(
        text("(function(ok, url) { test.note('%1 ' + ok + ' ' + url); })").arg(name));
}

void TstOrvikStore::note(const QString &entry)
{
    m_notes.append(entry);
}

QString TstOrvikStore::takeNotes()
{
    const QString notes = m_notes.join(QLatin1Char('\n'));
    m_notes.clear();
    return notes;
}

void TstOrvikStore::connects()
{
    QSignalSpy users(m_store.get(), &OrvikStore::userReceived);
    QSignalSpy accounts(m_store.get(), &OrvikStore::accountStateChanged);
    QVERIFY(connectStore());
    QCOMPARE(m_states,
             QList<int>({OrvikStore::Authorizing, OrvikStore::Authorized, OrvikStore::Connecting,
                         OrvikStore::Ready}));
    QVERIFY(accounts.size() >= 2);
    QCOMPARE(m_store->accountState(), AccountState::SignedIn);
    QVERIFY(!m_store->user().isEmpty());
    QCOMPARE(users.value(0).value(0).toString(), m_store->user());
    QCOMPARE(m_store->userData(m_store->user()).isEmpty(), false);

    // The top level comes in the store's order; "All" has no parent at all.
    QCOMPARE(m_store->categories(text("0")).mid(0, 2),
             QStringList({m_store->storeCategory(), m_store->marketPlacesCategory()}));
    QCOMPARE(m_store->categories(QString()).size(), 1);
    QCOMPARE(m_store->categoryName(m_store->storeCategory()), text("Orvik essentials"));
    QCOMPARE(m_store->categoryName(text("unknown")), text("unknown"));

    m_states.clear();
    m_store->tryConnect();
    QVERIFY(m_states.isEmpty());
    // What was sent before is on record by then.
    QVERIFY(!resolve(text("dicebag")).isEmpty());
    QCOMPARE(requests(text("/")), 1);
}

void TstOrvikStore::discoveryFails()
{
    m_simulator.fault(text("/api/v001/category/"), R"({"do": "status", "status": 404})");
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(m_store->connectionState(), OrvikStore::ServerError, 20000);
    QCOMPARE(m_states,
             QList<int>({OrvikStore::Authorizing, OrvikStore::Authorized, OrvikStore::Connecting,
                         OrvikStore::ServerError}));
    m_simulator.command("clear-faults");
    m_states.clear();
    QVERIFY(connectStore());
    QCOMPARE(m_states, QList<int>({OrvikStore::Connecting, OrvikStore::Ready}));
}

void TstOrvikStore::connectsWhenTheNetworkComes()
{
    // A network that comes finds nobody who has asked for anything.
    QTRY_VERIFY(m_store->isOnline());
    setNetwork(false);
    setNetwork(true);
    QVERIFY(m_states.isEmpty());

    setNetwork(false);
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(m_store->connectionState(), OrvikStore::Authorized, 20000);
    QVERIFY(!m_services.waitForKind(dialogCall).isEmpty());
    QCOMPARE(m_states, QList<int>({OrvikStore::Authorizing, OrvikStore::Authorized}));
    setNetwork(true);
    QTRY_COMPARE_WITH_TIMEOUT(m_store->connectionState(), OrvikStore::Ready, 20000);

    // Ready outlives the network.
    m_states.clear();
    setNetwork(false);
    setNetwork(true);
    QVERIFY(m_states.isEmpty());
}

void TstOrvikStore::signInFails_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("isOnline");
    QTest::addColumn<AccountState::State>("account");

    QTest::newRow("no way to the store") << 503 << true << AccountState::NetworkError;
    QTest::newRow("no network at all") << 503 << false << AccountState::NetworkError;
    QTest::newRow("refused for good") << 401 << true << AccountState::NeedsUpdate;
}

void TstOrvikStore::signInFails()
{
    QFETCH(const int, status);
    QFETCH(const bool, isOnline);

    QTRY_VERIFY(m_store->isOnline());
    setNetwork(isOnline);
    m_simulator.fault(tokenPath,
                      R"({"do": "status", "status": )" + QByteArray::number(status) + '}');
    QSignalSpy signUp(m_store.get(), &OrvikStore::signUpRequired);
    QSignalSpy accounts(m_store.get(), &OrvikStore::accountStateChanged);
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(signUp.size(), 1, 20000);
    QTEST(m_store->accountState(), "account");
    QCOMPARE(m_states, QList<int>({OrvikStore::Authorizing, OrvikStore::Unauthorized}));
    QCOMPARE(accounts.size(), 2);
    QCOMPARE(m_services.waitForKind(dialogCall, isOnline ? 0 : 10000).isEmpty(), isOnline);

    // The same state is told again.
    m_states.clear();
    QVERIFY(QMetaObject::invokeMethod(m_store.get(), "slotAccountStateChanged"));
    QCOMPARE(m_states, QList<int>({OrvikStore::Unauthorized}));
    QCOMPARE(signUp.size(), 2);
    QCOMPARE(accounts.size(), 3);
}

void TstOrvikStore::renewalLeavesReadyAlone()
{
    m_simulator.command("token", R"({"expires_in": 1})");
    QVERIFY(connectStore());
    const LogCapture log;
    QSignalSpy accounts(m_store.get(), &OrvikStore::accountStateChanged);
    m_states.clear();
    QTRY_VERIFY(accounts.size() >= 2); // signing in and signed in
    QVERIFY(m_states.isEmpty());
    QCOMPARE(LogCapture::lines("Ignoring state transition").size(), accounts.size());
}

/** The user has to sign in again, and then the answer to an earlier question comes. */
void TstOrvikStore::refusedDuringARenewal()
{
    m_simulator.command("token", R"({"expires_in": 2})");
    QVERIFY(connectStore());
    QTRY_COMPARE(m_store->accountState(), AccountState::SignedIn);
    // Revoked before the renewal asks, or its own token would be refused as well.
    m_simulator.command("token", R"({"expires_in": 1000, "revoke": true})");
    m_simulator.fault(tokenPath, R"({"do": "delay", "ms": 1500})");
    QTRY_COMPARE(m_store->accountState(), AccountState::SigningIn);
    const LogCapture log;
    m_simulator.clearLog();
    m_states.clear();
    QSignalSpy signUp(m_store.get(), &OrvikStore::signUpRequired);
    m_store->resolvePackage(text("dicebag"));
    QTRY_COMPARE_WITH_TIMEOUT(
        m_states, QList<int>({OrvikStore::Unauthorized, OrvikStore::Authorized}), 20000);
    QCOMPARE(signUp.size(), 1);
    QCOMPARE(LogCapture::lines("Unhandled state transition").size(), 1);
    QCOMPARE(requests(text("/api/v001/?")), 0);
    m_states.clear();
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(m_states, QList<int>({OrvikStore::Connecting, OrvikStore::Ready}),
                              20000);
}

/** Also one that has nothing to do with it; who waits for an image goes on waiting. */
void TstOrvikStore::anyFailureEndsConnecting()
{
    m_simulator.fault(text("/api/"), R"({"do": "hang"})");
    m_simulator.fault(text("/static/"), R"({"do": "status", "status": 404})");
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(m_store->connectionState(), OrvikStore::Connecting, 20000);
    m_store->loadStoreImage(icon, 86, 86, function(text("a")));
    QTRY_COMPARE(m_store->connectionState(), OrvikStore::ServerError);
    QVERIFY(m_notes.isEmpty());
}

void TstOrvikStore::needsNobodyBeforeItIsReady()
{
    QSignalSpy sent(m_store.get(), &OrvikStore::reviewSent);
    QSignalSpy resolved(m_store.get(), &OrvikStore::packageResolved);
    QSignalSpy updates(m_store.get(), &OrvikStore::osUpdateInfo);
    m_store->resolvePackage(text("dicebag"));
    m_store->selectOsUpdate(text("1.2.3.4"));
    m_store->activateBackplate(text("moss-0417"));
    m_store->postStoreUninstalled(text("uuid"));
    m_store->postStoreInstalled(text("uuid"));
    QCOMPARE(m_store->installedApplications(), QSet<QString>({text("uuid")}));
    for (const char *id : {"temp-0", "temp-1"}) {
        m_store->sendReview(QString(), text("uuid"), text("text"), QString());
        QCOMPARE(sent.takeFirst().at(0).value<Store::Review::ConstPtr>()->tempUuid,
                 QString::fromUtf8(id));
    }
    QVERIFY(!m_store->like(text("uuid")));
    QVERIFY(!m_store->application(text("uuid"))->valid);
    QVERIFY(resolved.isEmpty());
    QVERIFY(updates.isEmpty());
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(m_store->connectionState(), OrvikStore::Ready, 20000);
    QCOMPARE(m_simulator.requests(text("/api/")).at(0)[QLatin1String("path")].toString(),
             text("/api/v001/"));
    QCOMPARE(requests(text("/api/v001/review/")) + requests(text("/api/v001/backplate/")), 0);
}

void TstOrvikStore::recordsAreFetchedOnce()
{
    using Read = QVariantMap (OrvikStore::*)(const QString &);
    QVERIFY(connectStore());
    const Store::Application::ConstPtr app = m_store->application(resolve(text("dicebag")));
    const std::tuple<const char *, Read, QString> rows[] = {
        {"/api/v001/application/", &OrvikStore::applicationData, app->uuid},
        {"/api/v001/company/", &OrvikStore::companyData, app->company},
        {"/api/v001/user/", &OrvikStore::userData, app->user}};
    // Another facade knows nothing of it.
    m_store = std::make_unique<OrvikStore>(m_images.get(), nullptr);
    QVERIFY(connectStore());
    for (const auto &[path, read, uuid] : rows) {
        QVERIFY(!uuid.isEmpty());
        QVERIFY((m_store.get()->*read)(QString()).isEmpty());
        QVERIFY((m_store.get()->*read)(uuid).isEmpty());
        QTRY_VERIFY(!(m_store.get()->*read)(uuid).isEmpty());
        QCOMPARE(requests(text(path)), 1);
    }
}

void TstOrvikStore::localRecords()
{
    QSignalSpy received(m_store.get(), &OrvikStore::applicationReceived);
    QSignalSpy updated(m_store.get(), &OrvikStore::applicationUpdated);
    QSignalSpy dataUpdated(m_store.get(), &OrvikStore::applicationDataUpdated);
    const QString uuid =
        m_store->makeLocalApplication(text("name"), text("1.0"), text("summary"), text("package"));
    QCOMPARE(uuid, text("local-name"));
    QCOMPARE(received.takeFirst().at(0).toString(), uuid);
    QCOMPARE(m_store->cachedApplicationUuid(text("package")), uuid);
    const Store::Application::ConstPtr app = m_store->application(uuid);
    QVERIFY(app->valid && !app->inStore && !app->installedOn.isValid());
    QCOMPARE(app->icon, text("image://theme/icon-store-app-default"));

    m_store->updateInstalledOn(uuid);
    m_store->updateInstalledOn(text("unknown"));
    QCOMPARE(updated.size(), 1);
    QVERIFY(!app->installedOn.isValid());
    QVERIFY(m_store->application(uuid)->installedOn.isValid());
    QCOMPARE(m_store->application(uuid)->title, text("name"));

    m_store->replaceApplication(app);
    QCOMPARE(dataUpdated.size(), 1);
    QVERIFY(received.isEmpty());
    m_store->addApplication(Store::Application::ConstPtr::create());
    QVERIFY(received.isEmpty());
}

void TstOrvikStore::resolvesPackages()
{
    QVERIFY(connectStore());
    QSignalSpy resolved(m_store.get(), &OrvikStore::packageResolved);
    // The first is the only one that the store knows; it takes the last for any package.
    for (const char *name : {"dicebag", "no-such-package", "a&b=c/../ä \"%1", ""}) {
        resolved.clear();
        m_store->resolvePackage(text(name));
        QVERIFY(resolved.isEmpty());
        QVERIFY(resolved.wait());
        QCoreApplication::processEvents();
        QCOMPARE(resolved.size(), 1);
        QCOMPARE(resolved[0][0].toString(), text(name));
        if (*name)
            QCOMPARE(!resolved[0][1].toString().isEmpty(), text(name) == text("dicebag"));
    }
    // Known by now, it needs no request.
    m_simulator.clearLog();
    m_store->resolvePackage(text("dicebag"));
    QCOMPARE(resolved.size(), 2);
    QCOMPARE(requests(checkPath), 0);
}

void TstOrvikStore::resolvingSurvivesFaults()
{
    QVERIFY(connectStore());
    QSignalSpy resolved(m_store.get(), &OrvikStore::packageResolved);
    QSignalSpy errors(m_store.get(), &OrvikStore::error);

    m_simulator.fault(checkPath, R"({"do": "status", "status": 403, "times": 1})");
    m_store->resolvePackage(text("dicebag"));
    QVERIFY(errors.wait());
    QVERIFY(resolved.isEmpty());
    QCOMPARE(m_store->connectionState(), OrvikStore::Ready);

    // Of an endless list the first page decides, and nobody asks for another one.
    m_simulator.fault(checkPath, R"({"do": "page-loop"})");
    m_simulator.clearLog();
    QVERIFY(!resolve(text("dicebag")).isEmpty());
    QCOMPARE(resolved.size(), 1);
    QTRY_COMPARE(requests(checkPath), 1);
}

void TstOrvikStore::reviews()
{
    QVERIFY(connectStore());
    const QString app = resolve(text("dicebag"));
    QSignalSpy sent(m_store.get(), &OrvikStore::reviewSent);
    QSignalSpy uuids(m_store.get(), &OrvikStore::reviewUuidReceived);
    m_store->sendReview(QString(), app, text("good"), text("1.0"));
    const auto review = sent.takeFirst().at(0).value<Store::Review::ConstPtr>();
    QCOMPARE(review->author, m_store->user());
    QCOMPARE(review->authorName, m_store->userName());
    QCOMPARE(review->tempUuid, text("temp-0"));
    QVERIFY(uuids.wait());
    QCOMPARE(uuids[0][0].toString(), text("temp-0"));
    const QString uuid = uuids[0][1].toString();
    QVERIFY(!uuid.isEmpty());

    m_store->sendReview(uuid, app, text("better"), text("1.0"));
    QCOMPARE(sent.takeFirst().at(0).value<Store::Review::ConstPtr>()->tempUuid, QString());
    QTRY_COMPARE(requests(text("/api/v001/review/") + uuid), 1);
    m_store->sendReview(QString(), app, text("again"), text("1.0"));
    QVERIFY(uuids.wait());
    QCOMPARE(uuids.size(), 2); // the edit had nothing to tell
    QCOMPARE(uuids[1][0].toString(), text("temp-1"));
}

void TstOrvikStore::backCovers()
{
    QVERIFY(connectStore());
    const QString cover = text("moss-0417");
    QSignalSpy received(m_store.get(), &OrvikStore::backplateActivationReceived);
    QSignalSpy errors(m_store.get(), &OrvikStore::error);
    m_store->activateBackplate(cover);
    QVERIFY(received.wait());
    m_store->activateBackplate(cover);
    QCOMPARE(received.size(), 2);
    QCOMPARE(received[0], received[1]);
    QCOMPARE(requests(text("/api/v001/backplate/")), 1);
    m_store->activateBackplate(text("no-such-cover"));
    QVERIFY(errors.wait());
    QCOMPARE(errors[0][0].toString(), text("orvik-store-no-error_bkp_invalid"));
}

void TstOrvikStore::installedApplications()
{
    const QJsonObject installed =
        m_simulator.command("installed", R"({"clear": true, "push": ["dicebag"]})");
    QVERIFY(connectStore());
    const QString uuid = installed[QLatin1String("installed")][0].toString();
    QCOMPARE(m_store->installedApplications(), QSet<QString>({uuid}));
    m_store->postStoreUninstalled(uuid);
    QVERIFY(m_store->installedApplications().isEmpty());
    QTRY_COMPARE(requests(text("/api/v001/myapplications/") + uuid), 1);
}

void TstOrvikStore::localImages()
{
    const std::pair<const char *, const char *> rows[] = {
        {"image://theme/x", "a true image://theme/x"},
        {"/tmp/x", "a true /tmp/x"},
        {"file:///tmp/x", "a true file:///tmp/x"},
        {"", "a false "},
        {"scaled://none", "a false "}};
    for (const auto &[url, notes] : rows) {
        m_store->loadStoreImage(text(url), 10, 10, function(text("a")));
        QCOMPARE(takeNotes(), text(notes));
    }
}

void TstOrvikStore::oneFetchServesAll()
{
    QVERIFY(connectStore());
    m_store->loadStoreImage(icon, 86, 86, function(text("first")));
    m_store->loadStoreImage(icon, 86, 86, function(text("second")));
    QVERIFY(m_notes.isEmpty());
    QTRY_COMPARE(m_notes.size(), 2);
    QCOMPARE(takeNotes(), text("second true %1\nfirst true %1").arg(localIcon));
    m_store->loadStoreImage(icon, 86, 86, function(text("third")));
    QCOMPARE(takeNotes(), text("third true ") + localIcon);
    QCOMPARE(requests(text("/static/")), 1);
    QSize size;
    QVERIFY(!m_images->requestImage(text("static/icon/dicebag/86x86.png"), &size, {}).isNull());
    QCOMPARE(size, QSize(86, 86));
}

void TstOrvikStore::failedImages()
{
    QVERIFY(connectStore());
    m_simulator.fault(text("/static/"), R"({"do": "status", "status": 404})");
    // In full, relative to the store, in need of encoding.
    for (const QString &url :
         {icon, text("static/icon/dicebag/86x86.png"),
          text("https://api.orvik-store.example/static/icon/a b ä%20.png?x=1")}) {
        m_store->loadStoreImage(url, 86, 86, function(text("a")));
        m_store->loadStoreImage(url, 86, 86, function(text("b")));
        QTRY_COMPARE(m_notes.size(), 2);
        QVERIFY(m_notes[0].startsWith(text("b false image://store/static/icon/")));
        QVERIFY(m_notes[1].startsWith(text("a false image://store/static/icon/")));
        m_notes.clear();
    }
    QCOMPARE(m_store->connectionState(), OrvikStore::Ready);
}

void TstOrvikStore::failedImageIsNotFetchedOverAndOver()
{
    QVERIFY(connectStore());
    m_simulator.fault(text("/static/"), R"({"do": "status", "status": 404, "times": 1})");
    const QString asksAgain = text("(function(ok, url) { test.note('a ' + ok);"
                                   " store.loadStoreImage('%1', 86, 86, function(ok) {"
                                   " test.note('again ' + ok); }); })");
    m_store->loadStoreImage(icon, 86, 86, m_engine->evaluate(asksAgain.arg(icon)));
    QTRY_COMPARE(m_notes, QStringList(text("a false")));
    // Later on it may be asked for as if for the first time.
    m_store->loadStoreImage(icon, 86, 86, function(text("b")));
    QTRY_COMPARE(m_notes.size(), 2);
    QVERIFY(m_notes[1].startsWith(text("b true ")));
    QCOMPARE(requests(text("/static/")), 2);
}

void TstOrvikStore::cancelledCallbacks()
{
    QVERIFY(connectStore());
    const QJSValue first = function(text("first"));
    const QJSValue second = function(text("second"));
    m_store->loadStoreImage(icon, 86, 86, first);
    m_store->loadStoreImage(icon, 86, 86, second);
    m_store->cancelStoreImageCallback(first);
    QTRY_COMPARE(m_notes.size(), 1);
    QCOMPARE(takeNotes(), text("second true ") + localIcon);

    // The last one's end leaves the fetch alone.
    const QString other = QString(icon).replace(QLatin1String("86x86"), QLatin1String("90x90"));
    m_store->loadStoreImage(other, 90, 90, first);
    m_store->cancelStoreImageCallback(first);
    QTRY_VERIFY(m_images->containsImage(
        QString(localIcon).replace(QLatin1String("86x86"), QLatin1String("90x90"))));
    QCOMPARE(takeNotes(), QString());
}

void TstOrvikStore::callbackOfAnEngineThatHasGone()
{
    QVERIFY(connectStore());
    m_store->loadStoreImage(icon, 86, 86, function(text("a")));
    m_store->loadStoreImage(icon + text("?b"), 86, 86, function(text("b")));
    m_engine = std::make_unique<QJSEngine>();
    m_store->cancelStoreImageCallback(m_engine->evaluate(text("(function() {})")));
    QTRY_VERIFY(m_images->containsImage(localIcon));
    QVERIFY(m_notes.isEmpty());
}

void TstOrvikStore::scaledImages()
{
    QVERIFY(connectStore());
    const Store::Application::ConstPtr app = m_store->application(resolve(text("dicebag")));
    QVERIFY(app->icon.startsWith(QLatin1String("scaled://")));
    const QString url = m_store->scaledImageUrl(app->icon, 86, 86);
    QVERIFY2(url.contains(QLatin1String("/static/icon/dicebag/")), qPrintable(url));
    QCOMPARE(m_store->scaledImageUrl(url, 1, 1), url);
    m_store->loadStoreImage(app->icon, 86, 86, function(text("a")));
    QTRY_COMPARE(m_notes.size(), 1);
    QCOMPARE(takeNotes(), text("a true image://store") + QUrl(url).path());
}

void TstOrvikStore::osUpdate_data()
{
    QTest::addColumn<QByteArray>("offer");
    QTest::addColumn<QString>("outcome"); // each status with its number, each offer's version
    QTest::addColumn<int>("requestCount");

    const auto row = [](const char *name, const char *offer, const char *outcome, int requests) {
        QTest::newRow(name) << QByteArray(offer) << text(outcome) << requests;
    };
    row("nothing on offer", "{}", "status 2, status 1, offer ''", 1);
    row("what runs already", R"({"version": "3.2.1.20"})", "status 2, status 1, offer ''", 1);
    // The list of versions ends before the details have come.
    row("a newer one", R"({"version": "3.4.0.7"})",
        "status 2, status 1, offer '', offer '3.4.0.7', status 3", 2);
    row("an older one is another one", R"({"version": "1.0.0.1"})",
        "status 2, status 1, offer '', offer '1.0.0.1', status 3", 2);
    row("in the form of a package", R"({"version": "3.4.0.7", "info_version": "3.4.0-7.0"})",
        "status 2, status 1, offer '', offer '3.4.0.7', status 3", 2);
    row("without details", R"({"version": "3.4.0.7", "info": false})",
        "status 2, status 1, offer ''", 2);
}

void TstOrvikStore::osUpdate()
{
    QFETCH(const QByteArray, offer);
    QFETCH(const QString, outcome);
    QFETCH(const int, requestCount);

    m_simulator.command("osupdate", offer);
    m_store->setOsVersion(text("3.2.1.20"));
    QVERIFY(connectStore());
    QStringList seen;
    connect(m_store.get(), &OrvikStore::osUpdateStatusChanged, this,
            [this, &seen] { seen.append(text("status %1").arg(int(m_store->osUpdateStatus()))); });
    connect(m_store.get(), &OrvikStore::osUpdateInfo, this, [&seen](const OsInfo &info) {
        seen.append(text("offer '%1'").arg(info.version));
        QVERIFY(info.lastChecked.isValid());
        QCOMPARE(info.downloadSize, info.version.isEmpty() ? 0 : -1);
        QCOMPARE(info.installSize + info.removeSize, 0);
        QCOMPARE(info.codeName.isEmpty(), info.version.isEmpty());
    });
    m_store->checkForOsUpdate();
    QTRY_COMPARE(seen.join(text(", ")), outcome);
    QTRY_COMPARE(requests(checkPath), requestCount);
    // What was on its way has come in by then.
    QVERIFY(!resolve(text("dicebag")).isEmpty());
    QCOMPARE(seen.join(text(", ")), outcome);
    QCOMPARE(requests(checkPath), requestCount + 1);
}

void TstOrvikStore::osUpdateChecksAreNotDoubled()
{
    QVERIFY(connectStore());
    QSignalSpy infos(m_store.get(), &OrvikStore::osUpdateInfo);
    m_simulator.fault(checkPath, R"({"do": "page-loop"})");
    m_store->checkForOsUpdate();
    m_store->checkForOsUpdate();
    QVERIFY(infos.wait());
    QCOMPARE(requests(checkPath), 1);
    // A further page ends the check, which leaves the next one free to run.
    m_store->checkForOsUpdate();
    QVERIFY(infos.wait());
    QCOMPARE(requests(checkPath), 2);
    QCOMPARE(m_store->osUpdateStatus(), OrvikStore::OsUpToDate);
}

/** The details of a release never come while the check still runs: it is the last one. */
void TstOrvikStore::missingDetailsBlockChecks()
{
    QVERIFY(connectStore());
    m_simulator.fault(text("^.*version-checkv2-.*"), R"({"do": "hang"})");
    m_store->checkForOsUpdate();
    QSignalSpy status(m_store.get(), &OrvikStore::osUpdateStatusChanged);
    QSignalSpy offers(m_store.get(), &OrvikStore::osUpdateInfo);
    QSignalSpy errors(m_store.get(), &OrvikStore::error);
    m_store->selectOsUpdate(text("9.9.9.9"));
    QVERIFY(errors.wait());
    QCOMPARE(errors[0][0].toString(), text("orvik-store-no-error_os_update_info_failed"));
    QCOMPARE(offers.size(), 1);
    QCOMPARE(offers[0][0].value<OsInfo>().version, QString());
    QCOMPARE(status.size(), 1);
    QCOMPARE(m_store->osUpdateStatus(), OrvikStore::OsUpdateChecking);
    m_store->checkForOsUpdate();
    QVERIFY(!resolve(text("dicebag")).isEmpty());
    QCOMPARE(requests(checkPath), 3); // both of before and this one
    QCOMPARE(status.size(), 1);
}

QTEST_GUILESS_MAIN(TstOrvikStore)
#include "tst_orvikstore.moc"
