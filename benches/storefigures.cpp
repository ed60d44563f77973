// The store: bytes to records, records to maps, what a running backend is asked, images.

#include "measure.h"
#include "phone.h"
#include "records.h"

#include "contentmodel.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "sharedimageprovider.h"
#include "store/requestproxy.h"
#include "store/server.h"
#include "storeimageprovider.h"
#include "tests/store/scriptednetwork.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTemporaryDir>

#include <cmath>

#include <malloc.h>

namespace Bench {

namespace {

constexpr int smallPage = 18;
constexpr int largePage = 1000;
constexpr int mapsPerRound = 2000;
constexpr int equalFetches = 10000;
constexpr int listPages = 10000;
constexpr int pagesOfWarmUp = 500;
constexpr int imageRounds = 15;

/** A server that is handed its answers, without a network. */
class PageReader
{
public:
    PageReader()
        : m_server(QStringLiteral("fjord"))
    {
        m_server.findChild<QNetworkAccessManager *>()->setNetworkAccessible(
            QNetworkAccessManager::NotAccessible);
    }

    /** Seconds from the end of the transfer of @p body until all its records are out. */
    double secondsToRecords(const QByteArray &body)
    {
        ScriptedAnswer answer;
        answer.body = body;
        ScriptedNetwork network({answer});
        auto *proxy = new Store::RequestProxy(&network); // ends itself
        int records = 0;
        bool isOver = false;
        double seconds = 0;
        double begin = 0;
        QObject::connect(proxy, &Store::RequestProxy::replyFinished, proxy,
                         [&] { begin = computingSeconds(); });
        QObject::connect(proxy, SIGNAL(replyFinished()), &m_server,
                         SLOT(slotApplicationListFinished()));
        QObject::connect(proxy, &Store::RequestProxy::applicationReceived, proxy,
                         [&records](const Store::Application::ConstPtr &app, bool) {
                             records += app->valid ? 1 : 0;
                         });
        QObject::connect(proxy, &Store::RequestProxy::finished, proxy, [&] {
            seconds = computingSeconds() - begin;
            isOver = true;
        });
        proxy->get(QNetworkRequest(QUrl(QStringLiteral("https://store.example/applications/"))));
        waitUntil("a page", [&isOver] { return isOver; });
        if (records < smallPage)
            giveUp(QStringLiteral("records are missing"));
        return seconds;
    }

private:
    Store::Server m_server;
};

QString firstUrl(const QVariantMap &map, const QString &key)
{
    return map.value(key).toList().value(0).toMap().value(QStringLiteral("url")).toString();
}

QStringList texts(const QVariantMap &map, const QString &listKey, const QString &key)
{
    QStringList result;
    const QVariantList elements = map.value(listKey).toList();
    for (const QVariant &element : elements)
        result.append(element.toMap().value(key).toString());
    return result;
}

/** The shortest way from one element of a page to a record. */
Store::Application::ConstPtr fill(const QVariantMap &map)
{
    const auto text = [&map](const QString &key) { return map.value(key).toString(); };
    auto app = QSharedPointer<Store::Application>::create();
    app->valid = true;
    app->uuid = text(QStringLiteral("uuid"));
    app->packageName = text(QStringLiteral("package_name"));
    app->adultOnly = map.value(QStringLiteral("adult_only")).toBool();
    app->company = text(QStringLiteral("company"));
    app->user = text(QStringLiteral("user"));
    app->userName = text(QStringLiteral("username"));
    app->summary = text(QStringLiteral("summary"));
    app->title = text(QStringLiteral("title"));
    app->description = text(QStringLiteral("description"));
    app->version = text(QStringLiteral("version"));
    app->changes = text(QStringLiteral("changes"));
    app->downloads = map.value(QStringLiteral("downloads")).toInt();
    app->likes = map.value(QStringLiteral("likes")).toInt();
    app->createdOn = map.value(QStringLiteral("created_on")).toDateTime();
    app->updatedOn = map.value(QStringLiteral("updated_on")).toDateTime();
    app->openSourceLink = text(QStringLiteral("open_source_link"));
    app->website = text(QStringLiteral("website"));
    app->flattrLink = text(QStringLiteral("flattr_auto_submit_url"));
    app->size = map.value(QStringLiteral("binary_size")).toInt();
    app->icon = firstUrl(map, QStringLiteral("icon_image"));
    app->cover = firstUrl(map, QStringLiteral("cover_image"));
    app->requirements = texts(map, QStringLiteral("requirements"), QStringLiteral("name"));
    app->screenshots = texts(map, QStringLiteral("images"), QStringLiteral("url"));
    return app;
}

double secondsToFill(const QByteArray &body)
{
    QList<Store::Application::ConstPtr> records;
    return computingSecondsOf([&] {
        const QVariantMap page = QJsonDocument::fromJson(body).toVariant().toMap();
        const QVariantList objects = page.value(QStringLiteral("objects")).toList();
        for (const QVariant &object : objects)
            records.append(fill(object.toMap()));
    });
}

void waitForReady(OrvikStore *store)
{
    store->tryConnect();
    waitUntil("the store", [store] { return store->connectionState() == OrvikStore::Ready; });
}

void measureFolding(OrvikStore *store)
{
    const QString path = QStringLiteral("/api/v001/application/");
    const QUrl base(QStringLiteral("https://api.orvik-store.example/"));
    tellPhone(QStringLiteral("Store"), QStringLiteral("clear-log"));
    int round = 0;
    compare(
        "one of 10,000 equal fetches", Unit::Seconds, 1.5, 5,
        [&] {
            const QString uuid = QStringLiteral("unknown-%1").arg(round++);
            return computingSecondsOf([&] {
                       for (int i = 0; i < equalFetches; ++i)
                           (void)store->applicationData(uuid);
                   })
                / equalFetches;
        },
        [&] {
            const QString uuid = QStringLiteral("unknown-%1").arg(round);
            QSet<QUrl> pending;
            return computingSecondsOf([&] {
                       for (int i = 0; i < equalFetches; ++i)
                           pending.insert(base.resolved(QUrl(path + uuid + QLatin1Char('/'))));
                   })
                / equalFetches;
        });
    const auto requests = [] {
        return tellPhone(QStringLiteral("Store"), QStringLiteral("log"),
                         {{QStringLiteral("kind"), QStringLiteral("request")}})
            .value(QLatin1String("entries"))
            .toArray()
            .size();
    };
    waitUntil("the fetches", [&] { return requests() >= round; });
    addLimit("requests sent for 10,000 equal fetches", Unit::Count, 1, double(requests()) / round);
}

/** Seconds from @p begin until its picture has been painted by @p view. */
double secondsToPainted(QQuickView *view, const std::function<void()> &begin)
{
    QObject *root = view->rootObject();
    root->setProperty("source", QUrl());
    bool isPainted = false;
    const auto connection =
        QObject::connect(view, &QQuickWindow::frameSwapped, root, [root, &isPainted] {
            isPainted = isPainted || root->property("status").toInt() == 1; // Image.Ready
        });
    const double seconds = secondsOf([&] {
        begin();
        waitUntil("a picture", [&isPainted] { return isPainted; });
    });
    QObject::disconnect(connection);
    return seconds;
}

QByteArray fetch(QNetworkAccessManager *network, const QString &url)
{
    QNetworkReply *reply = network->get(QNetworkRequest(QUrl(url)));
    waitUntil("an image", [reply] { return reply->isFinished(); });
    reply->deleteLater();
    if (reply->error() != QNetworkReply::NoError)
        giveUp(reply->errorString());
    return reply->readAll();
}

void measureImages(OrvikStore *store, const QSharedPointer<StoreImageProvider> &provider)
{
    const auto urlOf = [](int round) {
        return QStringLiteral("https://api.orvik-store.example/static/icon/harbourlights/%1x%1.png")
            .arg(200 + round);
    };
    QNetworkAccessManager network;
    for (int round = 0; round <= imageRounds; ++round)
        (void)fetch(&network, urlOf(round)); // the simulated store draws it once

    QQuickView view;
    view.rootContext()->setContextProperty(QStringLiteral("store"), store);
    view.engine()->addImageProvider(QStringLiteral("store"), new SharedImageProvider(provider));
    view.setSource(QUrl::fromLocalFile(QStringLiteral(KIOSK_BENCH_DIR "/scene/picture.qml")));
    view.show();
    const QTemporaryDir folder;
    int loaded = 0;
    int fetched = 0;
    compare(
        "image from request to painted", Unit::Seconds, 1.3, imageRounds,
        [&] {
            return secondsToPainted(&view, [&] {
                QMetaObject::invokeMethod(view.rootObject(), "load",
                                          Q_ARG(QVariant, urlOf(loaded++)));
            });
        },
        [&] {
            return secondsToPainted(&view, [&] {
                QFile file(folder.filePath(QString::number(fetched)));
                const QByteArray data = fetch(&network, urlOf(fetched++));
                if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size())
                    giveUp(QStringLiteral("can't write an image"));
                file.close();
                view.rootObject()->setProperty("source", QUrl::fromLocalFile(file.fileName()));
            });
        });
}

void measureListPages(OrvikStore *store)
{
    tellPhone(QStringLiteral("Store"), QStringLiteral("applications"),
              {{QStringLiteral("count"), 200}});
    PackageHandler packages;
    ContentModel model;
    model.setStore(store);
    model.setPackager(&packages);
    model.setScope(QStringLiteral("store"));
    model.setStartsWith(QStringLiteral("generated-"));
    model.setLimit(smallPage);
    const auto loadPages = [&model](int count) {
        for (int page = 0; page < count; ++page) {
            model.refresh();
            waitUntil("a list page", [&model] { return model.count() == smallPage; });
        }
    };
    loadPages(pagesOfWarmUp);
    malloc_trim(0);
    const double heap = heapInUse();
    const qint64 resident = processNumber(QCoreApplication::applicationPid(), "status", "VmRSS:");
    const double seconds = secondsOf([&] { loadPages(listPages); });
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    malloc_trim(0);
    addLimit("heap growth over 10,000 list pages", Unit::Megabytes, 1,
             (heapInUse() - heap) / 1048576);
    addLimit(
        "resident growth over 10,000 list pages", Unit::Megabytes, 5,
        double(processNumber(QCoreApplication::applicationPid(), "status", "VmRSS:") - resident)
            / 1024);
    addNote("a list page over the network", Unit::Seconds, seconds / listPages);
}

} // namespace

void measureStoreRecords()
{
    PageReader reader;
    const QByteArray small = pageOf(smallPage);
    const QByteArray large = pageOf(largePage);
    const Medians smallPages = compare(
        "page of 18 to records", Unit::Seconds, 1.25, 101,
        [&] { return reader.secondsToRecords(small); }, [&] { return secondsToFill(small); });
    const Medians largePages = compare(
        "page of 1,000 to records", Unit::Seconds, 1.25, 9,
        [&] { return reader.secondsToRecords(large); }, [&] { return secondsToFill(large); });
    // Memory slows with its amount as well, so the floor grows by more than its work.
    const auto exponent = [](double fewer, double more) {
        return std::log(more / fewer) / std::log(double(largePage) / smallPage);
    };
    addRatio("growth exponent from 18 to 1,000 objects", Unit::Count, 1.1,
             exponent(smallPages.figure, largePages.figure),
             exponent(smallPages.floor, largePages.floor));

    const Store::Application::ConstPtr app = application(7);
    qint64 entries = 0;
    compare(
        "record to map", Unit::Seconds, 1.25, 9,
        [&] {
            return computingSecondsOf([&] {
                       for (int i = 0; i < mapsPerRound; ++i)
                           entries += app->toMap().size();
                   })
                / mapsPerRound;
        },
        [&] {
            const QVariantMap map = app->toMap();
            return computingSecondsOf([&] {
                       for (int i = 0; i < mapsPerRound; ++i) {
                           QVariantMap copy;
                           for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
                               copy.insert(entry.key(), entry.value());
                           entries += copy.size();
                       }
                   })
                / mapsPerRound;
        });
    if (entries == 0)
        giveUp(QStringLiteral("maps are empty"));
}

void measureStoreInPhone()
{
    const auto provider = QSharedPointer<StoreImageProvider>::create();
    OrvikStore store(provider.data(), nullptr);
    waitForReady(&store);
    measureFolding(&store);
    measureImages(&store, provider);
    measureListPages(&store);
}

} // namespace Bench
