#include "tour.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

using namespace std::chrono_literals;

namespace {

constexpr auto quietTime = 500ms; // without a request the scene counts as settled
constexpr auto paintTime = 250ms;
constexpr int megabyte = 1024 * 1024; // bytes

const QString newApp = QStringLiteral("harbourlights");
const QString oldApp = QStringLiteral("tidepool");
const QString interruptingApp = QStringLiteral("dicebag");
const QString osRelease = QStringLiteral("3.3.0.12");

int runProgram(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(program, arguments);
    process.waitForFinished();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace

Tour::Tour(const QDir &pictures)
    : m_pictures(pictures)
{ }

int Tour::run()
{
    struct Station
    {
        const char *title;
        void (Tour::*visit)();
    };
    const Station stations[] = {
        {"The store opens", &Tour::openStore},
        {"Searching with suggestions", &Tour::search},
        {"An application", &Tour::showApplication},
        {"Installing it", &Tour::install},
        {"A like and a review", &Tour::likeAndReview},
        {"Updating another one", &Tour::update},
        {"Removing the first", &Tour::remove},
        {"An OS update is offered", &Tour::offerOsUpdate},
        {"Downloading it, with an interruption", &Tour::downloadOsUpdate},
        {"The next boot installs it", &Tour::installOsUpdate},
    };
    try {
        for (const Station &station : stations) {
            m_terminal.beginStation(QLatin1String(station.title));
            (this->*station.visit)();
        }
    } catch (const Failure &failure) {
        m_terminal.endStation(QStringLiteral("FAILED: ") + failure.what);
        m_terminal.note(QStringLiteral("The client's log:"));
        QFile log(m_client.log());
        if (log.open(QIODevice::ReadOnly))
            m_terminal.note(QString::fromUtf8(log.readAll().right(20000)));
        m_terminal.summary();
        return 1;
    }
    m_terminal.summary();
    m_terminal.note(QStringLiteral("Pictures: ") + m_pictures.absolutePath());
    return 0;
}

void Tour::openStore()
{
    m_started = QDateTime::currentMSecsSinceEpoch();
    require(m_client.start({QStringLiteral("show")}), QStringLiteral("the client did not start"));
    const auto installedListAsked = [] {
        return countRequests(QStringLiteral("GET"), QStringLiteral("/myapplications/"), 200) > 0;
    };
    waitUntil(installedListAsked, QStringLiteral("the store did not get ready"));
    // The list of installed applications is the last thing that a client asks for before it
    // is ready.
    const QJsonArray requests =
        Client::simulator(QStringLiteral("Store"), QStringLiteral("log"))[QLatin1String("entries")]
            .toArray();
    qint64 ready = 0;
    for (const QJsonValue &request : requests) {
        if (request[QLatin1String("path")].toString().contains(QLatin1String("/myapplications/")))
            ready = qMax(ready, qint64(request[QLatin1String("ms")].toDouble()));
    }
    const QVariantList credentials = m_client.ask(QStringLiteral("storeCredentials"));
    require(credentials.size() == 2, QStringLiteral("nobody is signed in"));

    int categories = 0;
    QNetworkAccessManager network;
    QString next = QStringLiteral("/api/v001/category/");
    while (!next.isEmpty()) {
        QNetworkRequest request(
            QUrl(QStringLiteral("https://api.orvik-store.example")).resolved(QUrl(next)));
        request.setRawHeader("Authorization", "Bearer " + credentials.at(1).toString().toUtf8());
        QNetworkReply *reply = network.get(request);
        QEventLoop loop;
        connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
        const QJsonObject page = QJsonDocument::fromJson(reply->readAll()).object();
        categories += page[QLatin1String("objects")].toArray().size();
        next = page[QLatin1String("meta")][QLatin1String("next")].toString();
        reply->deleteLater();
    }
    picture(QStringLiteral("front-page"));
    m_terminal.endStation(QStringLiteral("signed in as %1, %2 categories, ready in %3 ms")
                              .arg(credentials.at(0).toString())
                              .arg(categories)
                              .arg(ready - m_started));
}

void Tour::search()
{
    key(QStringLiteral("ctrl+f"));
    settle();
    type(QStringLiteral("har"));
    picture(QStringLiteral("suggestions"));
    type(QStringLiteral("bour"));
    key(QStringLiteral("Return"));
    picture(QStringLiteral("search"));
    require(countRequests(QStringLiteral("GET"), QStringLiteral("/autocomplete/"), 200) == 1,
            QStringLiteral("one word asks for completions once"));
    m_terminal.endStation(
        QStringLiteral("typed \"harbour\": one question for completions, then the results"));
}

void Tour::showApplication()
{
    m_client.call(QStringLiteral("showApp"), {newApp});
    picture(QStringLiteral("application"));
    m_terminal.endStation(newApp);
}

void Tour::install()
{
    require(installedVersion(newApp).isEmpty(), newApp + QStringLiteral(" was there already"));
    m_client.call(QStringLiteral("installPackage"), {newApp});
    followPackage(newApp, QStringLiteral("installing"));
    picture(QStringLiteral("installed"));
    const QString version = installedVersion(newApp);
    require(!version.isEmpty(), QStringLiteral("it is not in the phone's rpm database"));
    m_terminal.endStation(
        QStringLiteral("%1 %2 is in the phone's rpm database").arg(newApp, version));
}

void Tour::likeAndReview()
{
    key(QStringLiteral("ctrl+l"));
    waitUntil(
        [] { return countRequests(QStringLiteral("POST"), QStringLiteral("/like/"), 201) > 0; },
        QStringLiteral("the like did not reach the store"));
    settle();
    key(QStringLiteral("ctrl+r"));
    type(QStringLiteral("Brought me home through the fog."));
    key(QStringLiteral("Return"));
    waitUntil(
        [] { return countRequests(QStringLiteral("POST"), QStringLiteral("/review/"), 201) > 0; },
        QStringLiteral("the review did not reach the store"));
    picture(QStringLiteral("review"));
    key(QStringLiteral("ctrl+l"));
    waitUntil(
        [] { return countRequests(QStringLiteral("DELETE"), QStringLiteral("/like/"), 204) > 0; },
        QStringLiteral("the like was not taken back"));
    m_terminal.endStation(QStringLiteral("liked, reviewed, and the like taken back"));
}

void Tour::update()
{
    const QString before = installedVersion(oldApp);
    m_client.call(QStringLiteral("update"));
    picture(QStringLiteral("updates"));
    m_client.call(QStringLiteral("installPackage"), {oldApp});
    followPackage(oldApp, QStringLiteral("updating"));
    picture(QStringLiteral("updated"));
    const QString after = installedVersion(oldApp);
    require(before != after, QStringLiteral("its version stayed %1").arg(before));
    m_terminal.endStation(QStringLiteral("%1 from %2 to %3").arg(oldApp, before, after));
}

void Tour::remove()
{
    bool removed = false;
    connect(&m_client, &Client::removed, this, [&removed](const QString &package, bool success) {
        removed = removed || (package == newApp && success);
    });
    m_client.call(QStringLiteral("removePackage"), {newApp, true});
    waitUntil([&removed] { return removed; }, QStringLiteral("it was not removed"));
    disconnect(&m_client, &Client::removed, this, nullptr);
    require(installedVersion(newApp).isEmpty(), QStringLiteral("it is still in the rpm database"));
    picture(QStringLiteral("removed"));
    m_terminal.endStation(newApp + QStringLiteral(" is gone from the rpm database"));
}

void Tour::offerOsUpdate()
{
    Client::simulator(QStringLiteral("Store"), QStringLiteral("osupdate"),
                      {{QStringLiteral("version"), osRelease},
                       {QStringLiteral("code_name"), QStringLiteral("Saltholm")},
                       {QStringLiteral("summary"), QStringLiteral("Longer days, quieter nights")}});
    Client::simulator(QStringLiteral("PackageKit"), QStringLiteral("offer-release"),
                      {{QStringLiteral("release"), osRelease}});
    // A foreign source that is off from the start makes a download report its end early.
    Client::simulator(
        QStringLiteral("PackageKit"), QStringLiteral("repository"),
        {{QStringLiteral("name"), QStringLiteral("nightly")}, {QStringLiteral("enabled"), true}});
    QString version;
    QString codeName;
    qlonglong download = 0;
    qlonglong installation = 0;
    connect(&m_client, &Client::osUpdateOffered, this,
            [&](const QString &offered, const QString &name, qlonglong downloadSize,
                qlonglong installSize) {
                version = offered;
                codeName = name;
                download = downloadSize;
                installation = installSize;
            });
    m_client.call(QStringLiteral("checkForOsUpdate"), {true, true});
    waitUntil([&] { return version == osRelease && download > 0; },
              QStringLiteral("the update and its sizes were not announced"));
    disconnect(&m_client, &Client::osUpdateOffered, this, nullptr);
    m_terminal.endStation(QStringLiteral("%1 (%2): %3 MB to download, %4 MB to install")
                              .arg(version, codeName)
                              .arg(download / megabyte)
                              .arg(installation / megabyte));
}

void Tour::downloadOsUpdate()
{
    Client::simulator(QStringLiteral("PackageKit"), QStringLiteral("timing"),
                      {{QStringLiteral("upgrade-download"), 4000}});
    int percent = 0;
    connect(&m_client, &Client::osUpdateProgress, this, [&percent, this](int value) {
        percent = value;
        m_terminal.progress(QStringLiteral("system update"), value);
    });
    m_client.call(QStringLiteral("downloadOsUpdate"), {osRelease});
    waitUntil([&percent] { return percent >= 30; },
              QStringLiteral("the download did not get going"));
    m_terminal.note(QStringLiteral("an install comes in between: the download gives way"));
    m_client.call(QStringLiteral("installPackage"), {interruptingApp});
    followPackage(interruptingApp, QString());
    m_terminal.note(
        QStringLiteral("and takes itself up again half a minute after the daemon has gone idle"));
    waitUntil([&percent] { return percent == 100; }, QStringLiteral("the download did not end"));
    disconnect(&m_client, &Client::osUpdateProgress, this, nullptr);
    m_terminal.endStation(QStringLiteral("downloaded, interrupted and resumed"));
}

void Tour::installOsUpdate()
{
    require(m_client.stop() == 0, QStringLiteral("the client did not end cleanly"));
    require(m_client.start({QStringLiteral("osupdate")}),
            QStringLiteral("the client did not start again"));
    picture(QStringLiteral("system-update"));
    waitUntil(
        [] {
            return installedVersion(QStringLiteral("branwick-version"))
                .startsWith(QStringLiteral("3.3.0"));
        },
        QStringLiteral("the new release was not installed"));
    picture(QStringLiteral("system-updated"));
    const QString release = Client::simulator(QStringLiteral("PackageKit"),
                                              QStringLiteral("state"))[QLatin1String("release")]
                                .toString();
    require(release == osRelease, QStringLiteral("the device is on release %1").arg(release));
    require(m_client.stop() == 0, QStringLiteral("the client did not end cleanly"));
    m_terminal.endStation(QStringLiteral("the phone is on %1").arg(release));
}

void Tour::picture(const QString &name)
{
    settle();
    const QString file = m_pictures.filePath(
        QStringLiteral("%1-%2.png").arg(++m_shots, 2, 10, QLatin1Char('0')).arg(name));
    require(runProgram(QStringLiteral("phone"), {QStringLiteral("screenshot"), file}) == 0,
            QStringLiteral("no picture could be taken"));
}

void Tour::settle()
{
    QEventLoop loop;
    QTimer quiet;
    quiet.setSingleShot(true);
    connect(&quiet, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(&m_client, &Client::storeAsked, &quiet, [&quiet] { quiet.start(quietTime); });
    quiet.start(quietTime);
    loop.exec();
    // The last image is on its way from the store to the screen.
    QTimer::singleShot(paintTime, &loop, &QEventLoop::quit);
    loop.exec();
}

void Tour::key(const QString &combination)
{
    require(runProgram(QStringLiteral("xdotool"), {QStringLiteral("key"), combination}) == 0,
            QStringLiteral("no key could be pressed"));
}

void Tour::type(const QString &text)
{
    require(
        runProgram(QStringLiteral("xdotool"),
                   {QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("40"), text})
            == 0,
        QStringLiteral("no text could be typed"));
}

void Tour::require(bool condition, const QString &what)
{
    if (!condition)
        throw Failure{what};
}

void Tour::waitUntil(const std::function<bool()> &happened, const QString &what,
                     Milliseconds timeout)
{
    QEventLoop loop;
    const auto look = [&loop, &happened] {
        if (happened())
            loop.exit(0);
    };
    connect(&m_client, &Client::storeAsked, &loop, look);
    connect(&m_client, &Client::installed, &loop, look);
    connect(&m_client, &Client::removed, &loop, look);
    connect(&m_client, &Client::osUpdateProgress, &loop, look);
    connect(&m_client, &Client::osUpdateOffered, &loop, look);
    // What nobody announces, such as a package database, is looked at now and then.
    QTimer now;
    connect(&now, &QTimer::timeout, &loop, look);
    now.start(200ms);
    QTimer::singleShot(timeout, &loop, [&loop] { loop.exit(1); });
    require(happened() || loop.exec() == 0, what);
}

void Tour::followPackage(const QString &package, const QString &pictureName)
{
    bool ended = false;
    bool success = false;
    bool pictured = pictureName.isEmpty();
    QObject context;
    connect(&m_client, &Client::packageProgress, &context, [&](const QString &name, int percent) {
        if (name != package || ended)
            return;
        m_terminal.progress(package, percent);
        if (!pictured && percent >= 30 && percent < 100) {
            pictured = true;
            const QString file = m_pictures.filePath(QStringLiteral("%1-%2.png")
                                                         .arg(++m_shots, 2, 10, QLatin1Char('0'))
                                                         .arg(pictureName));
            QProcess::startDetached(QStringLiteral("phone"), {QStringLiteral("screenshot"), file});
        }
    });
    connect(&m_client, &Client::installed, &context, [&](const QString &name, bool good) {
        if (name != package)
            return;
        ended = true;
        success = good;
    });
    waitUntil([&ended] { return ended; }, QStringLiteral("no result for ") + package);
    require(success, package + QStringLiteral(" was not installed"));
}

QString Tour::installedVersion(const QString &package)
{
    const QJsonArray packages =
        Client::simulator(QStringLiteral("PackageKit"),
                          QStringLiteral("state"))[QLatin1String("installed")]
            .toArray();
    for (const QJsonValue &entry : packages) {
        if (entry[QLatin1String("name")].toString() == package)
            return entry[QLatin1String("version")].toString();
    }
    return QString();
}

int Tour::countRequests(const QString &method, const QString &pathPart, int status)
{
    const QJsonArray requests =
        Client::simulator(QStringLiteral("Store"), QStringLiteral("log"))[QLatin1String("entries")]
            .toArray();
    int count = 0;
    for (const QJsonValue &request : requests) {
        if (request[QLatin1String("method")].toString() == method
            && request[QLatin1String("path")].toString().contains(pathPart)
            && request[QLatin1String("status")].toInt() == status)
            ++count;
    }
    return count;
}
