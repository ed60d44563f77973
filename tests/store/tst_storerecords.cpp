#include "servertranscript.h"

#include "store/imageset.h"
#include "store/json.h"
#include "store/requestproxy.h"
#include "store/resultpage.h"
#include "store/storelanguage.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QLocale>
#include <QTest>

using Store::Json;
using Store::ResultPage;

namespace {

const QString contentError = QStringLiteral("orvik-store-no-error_content_not_available");

QByteArray repeated(const char *text, int times)
{
    return QByteArray(text).repeated(times);
}

QJsonObject readObject(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}

/** Lines as a person would compare them. */
QStringList lines(const QJsonArray &array)
{
    return QString::fromUtf8(QJsonDocument(array).toJson()).split(QLatin1Char('\n'));
}

QVariantMap image(int width, int height, const char *url)
{
    return {{QStringLiteral("width"), width},
            {QStringLiteral("height"), height},
            {QStringLiteral("url"), QString::fromLatin1(url)}};
}

} // namespace

class TstStoreRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }

    void golden_data();
    void golden();
    void badInput_data();
    void badInput();
    void manyCategories();

    void json_data();
    void json();
    void jsonPaths();
    void page_data();
    void page();
    void nullAndEmpty();
    void imageIdentifiers();
    void imageForSize_data();
    void imageForSize();
    void downloadMarks_data();
    void downloadMarks();
    void reviewLanguage_data();
    void reviewLanguage();
    void recordsCrossQueuedConnections();
};

/**
 * Each file of the folder is a response as it came in, with the slot that reads it; beside
 * it stands what server and proxy are to tell. KIOSK_UPDATE_GOLDEN=1 writes the latter.
 */
void TstStoreRecords::golden_data()
{
    QTest::addColumn<QString>("name");
    const QStringList files =
        QDir(QStringLiteral(KIOSK_TEST_DATA)).entryList({QStringLiteral("*.json")}, QDir::Files);
    for (const QString &file : files) {
        const QString name = file.section(QLatin1Char('.'), 0, 0);
        if (!file.contains(QLatin1String(".expected.")))
            QTest::newRow(qPrintable(name)) << name;
    }
}

void TstStoreRecords::golden()
{
    QFETCH(QString, name);
    const QString base = QStringLiteral(KIOSK_TEST_DATA "/") + name;
    const QJsonObject input = readObject(base + QStringLiteral(".json"));
    ScriptedAnswer answer;
    answer.body = QJsonDocument(input[QLatin1String("response")].toObject()).toJson();
    ServerTranscript transcript;
    const QUrl url(
        input[QLatin1String("url")].toString(QStringLiteral("https://store.example/x/")));
    const QJsonArray told =
        transcript.play(input[QLatin1String("slot")].toString().toLatin1(), answer, url);

    QFile expectedFile(base + QStringLiteral(".expected.json"));
    if (qEnvironmentVariableIsSet("KIOSK_UPDATE_GOLDEN")) {
        QVERIFY(expectedFile.open(QIODevice::WriteOnly));
        expectedFile.write(QJsonDocument(told).toJson());
        return;
    }
    QVERIFY(expectedFile.open(QIODevice::ReadOnly));
    const QStringList expected = lines(QJsonDocument::fromJson(expectedFile.readAll()).array());
    const QStringList actual = lines(told);
    for (int i = 0; i < qMin(expected.size(), actual.size()); ++i)
        QCOMPARE(actual[i], expected[i]);
    QCOMPARE(actual.size(), expected.size());
}

void TstStoreRecords::badInput_data()
{
    QTest::addColumn<QByteArray>("slot");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QJsonArray>("told");

    const QJsonObject end{{QStringLiteral("application"), QStringLiteral("Untitled")}};
    const QJsonObject last{{QStringLiteral("hasMore"), false}};
    const QJsonObject finished{{QStringLiteral("finished"), true}};
    const QJsonObject error{{QStringLiteral("error"), contentError}};
    const QJsonArray failedList{error, end, last, finished};
    const QJsonArray emptyList{end, last, finished};

    const QByteArray list("slotApplicationListFinished()");
    QTest::newRow("empty") << list << QByteArray() << failedList;
    QTest::newRow("rubbish") << list << QByteArray("<html>") << failedList;
    QTest::newRow("cut") << list << QByteArray("{\"objects\": [{\"uuid\"") << failedList;
    QTest::newRow("nested too deep")
        << list << "{\"objects\":" + repeated("[", 100000) + repeated("]", 100000) + '}'
        << failedList;
    QTest::newRow("not UTF-8") << list << QByteArray("{\"objects\": \"\xff\xfe\"}") << failedList;
    QTest::newRow("an error with status 200")
        << list << QByteArray("{\"error_message\": \"\", \"objects\": []}") << failedList;
    QTest::newRow("no object at all") << list << QByteArray("[1, 2]") << emptyList;
    QTest::newRow("empty object") << list << QByteArray("{}") << emptyList;
    QTest::newRow("objects of a wrong type") << list << QByteArray("{\"objects\": 5}") << emptyList;
    QTest::newRow("elements of a wrong type")
        << list << QByteArray("{\"objects\": [[], 1, null]}")
        << QJsonArray{error, error, error, end, last, finished};
    QTest::newRow("a long text") << QByteArray("slotSendReviewFinished()")
                                 << "{\"uuid\": \"" + repeated("x", 1000000) + "\"}"
                                 << QJsonArray{
                                        QJsonObject{{QStringLiteral("reviewUuid"),
                                                     QString::fromLatin1(repeated("x", 1000000))}},
                                        finished};

    const auto next = [](const char *url) {
        return "{\"objects\": [], \"meta\": {\"next\": " + QByteArray(url) + "}}";
    };
    const auto page = [](const char *url) {
        return QJsonArray{QJsonObject{{QStringLiteral("page"), QString::fromLatin1(url)}}};
    };
    QTest::newRow("next at itself") << list << next("\"/x/\"") << page("/x/");
    QTest::newRow("next elsewhere")
        << list << next("\"http://other.example/\"") << page("http://other.example/");
    QTest::newRow("next of a wrong type") << list << next("[\"/x/\"]") << emptyList;
    QTest::newRow("next as a number") << list << next("7") << emptyList;
    QTest::newRow("next is rubbish") << list << next("\"http://[:\"") << page("");
    QTest::newRow("meta of a wrong type")
        << list << QByteArray("{\"objects\": [], \"meta\": \"next\"}") << emptyList;

    const QByteArray likes("slotLikesListFinished()");
    const auto count = [&finished](int value) {
        return QJsonArray{QJsonObject{{QStringLiteral("likeCount"), value}}, finished};
    };
    QTest::newRow("no likes") << likes << QByteArray("{\"objects\": [1], \"meta\": {}}")
                              << count(0);
    QTest::newRow("a negative number")
        << likes << QByteArray("{\"objects\": [], \"meta\": {\"total_count\": -7}}") << count(-7);
    QTest::newRow("a number as text")
        << likes << QByteArray("{\"objects\": [], \"meta\": {\"total_count\": \"12\"}}")
        << count(12);
    QTest::newRow("likes without a list") << likes << QByteArray("{\"x\": 1}") << count(1);
    QTest::newRow("unreadable likes") << likes << QByteArray("{") << QJsonArray{finished};

    QTest::newRow("an unreadable feed")
        << QByteArray("slotFeedItemsReceived()") << QByteArray("{") << QJsonArray{finished};
    QTest::newRow("unreadable reviews")
        << QByteArray("slotReviewListFinished()") << QByteArray("{") << QJsonArray{finished};
    QTest::newRow("unreadable completions") << QByteArray("slotSearchCompletionsFinished()")
                                            << QByteArray("{") << QJsonArray{error, finished};
    QTest::newRow("no completions") << QByteArray("slotSearchCompletionsFinished()")
                                    << QByteArray("{\"results\": {}}") << QJsonArray{finished};
    QTest::newRow("an unreadable review uuid")
        << QByteArray("slotSendReviewFinished()") << QByteArray() << QJsonArray{finished};
    QTest::newRow("an empty review uuid") << QByteArray("slotSendReviewFinished()")
                                          << QByteArray("{\"uuid\": \"\"}") << QJsonArray{finished};
    QTest::newRow("an unreadable cover")
        << QByteArray("slotBackplateActivationFinished()")
        << QByteArray("{\"bkpid\": \"1\", \"error_message\": \"\"}") << QJsonArray{finished};
    QTest::newRow("an unreadable application") << QByteArray("slotApplicationDataFinished()")
                                               << QByteArray("{") << QJsonArray{error, finished};
    QTest::newRow("an image is anything")
        << QByteArray("slotImageFinished()") << QByteArray("\0\xff{", 3)
        << QJsonArray{QJsonObject{{QStringLiteral("image"), QStringLiteral(" 00ff7b")}}, finished};
    const QJsonObject noCompany = QJsonObject::fromVariantMap(Store::Company().toMap());
    QTest::newRow("a failed company is an empty one")
        << QByteArray("slotCompanyFinished()") << QByteArray("{\"error_message\": \"\"}")
        << QJsonArray{QJsonObject{{QStringLiteral("company"), noCompany}}, finished};
    QTest::newRow("an unreadable installed list is the end")
        << QByteArray("slotInstalledApplicationsReceived()") << QByteArray("{")
        << QJsonArray{QJsonObject{{QStringLiteral("ready"), true}}, finished};
    QTest::newRow("an unreadable own user")
        << QByteArray("slotUserReceived()") << QByteArray("{") << QJsonArray{finished};
    QTest::newRow("no store")
        << QByteArray("slotStoreEndPointsReceived()") << QByteArray("{")
        << QJsonArray{QJsonObject{{QStringLiteral("error"),
                                   QStringLiteral("orvik-store-no-error_server_not_available")}},
                      finished};
    QTest::newRow("a store without applications")
        << QByteArray("slotStoreEndPointsReceived()")
        << QByteArray("{\"category\": {\"list_endpoint\": \"/c/\"}}") << QJsonArray{finished};
}

void TstStoreRecords::badInput()
{
    QFETCH(QByteArray, slot);
    QFETCH(QByteArray, body);
    QFETCH(QJsonArray, told);
    ScriptedAnswer answer;
    answer.body = body;
    ServerTranscript transcript;
    QCOMPARE(transcript.play(slot, answer), told);
}

void TstStoreRecords::manyCategories()
{
    ScriptedAnswer answer;
    answer.body = "{\"objects\": [{}" + repeated(",{\"parent\": \"7\"}", 9999) + "]}";
    ServerTranscript transcript;
    const QJsonArray told = transcript.play("slotCategoriesReceived()", answer);
    QCOMPARE(told.size(), 10002);
    const QString key = QStringLiteral("category");
    QCOMPARE(told[0].toObject()[key].toArray(),
             (QJsonArray{0, QStringLiteral("0"), QString(), QStringLiteral("All")}));
    QCOMPARE(told[1].toObject()[key].toArray(),
             (QJsonArray{1, QString(), QStringLiteral("0"), QStringLiteral("No Name")}));
    QCOMPARE(told[10000].toObject()[key].toArray(),
             (QJsonArray{10000, QString(), QStringLiteral("7"), QStringLiteral("No Name")}));
}

void TstStoreRecords::json_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<int>("keys");
    QTest::addColumn<QString>("errorString");

    QTest::newRow("object") << QByteArray("{\"b\": 1, \"a\": 2}") << true << 2 << "";
    QTest::newRow("array") << QByteArray("[{\"a\": 1}]") << true << 0 << "";
    QTest::newRow("empty object") << QByteArray("{}") << true << 0 << "";
    QTest::newRow("nothing") << QByteArray() << false << 0 << "illegal value";
    QTest::newRow("a reported error")
        << QByteArray("{\"error_message\": \"text\", \"traceback\": \"where\"}") << false << 2
        << "where";
    QTest::newRow("a reported error without a trace")
        << QByteArray("{\"error_message\": null}") << false << 1 << "";
}

void TstStoreRecords::json()
{
    QFETCH(QByteArray, data);
    const Json json(data);
    QTEST(json.valid, "valid");
    QTEST(json.keys().size(), "keys");
    QTEST(json.errorString, "errorString");
}

void TstStoreRecords::jsonPaths()
{
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    const Json json(QByteArray("{\"a\": {\"b\": 1, \"n\": null}, \"b\": [{\"a\": 1}]}"));
    QCOMPARE(json.value({a, b}).toInt(), 1);
    QCOMPARE(json.value(QStringList{b, a}, 7).toInt(), 7); // a list is no object
    QCOMPARE(json.value({a, b, a}, 7).toInt(), 7);
    QCOMPARE(json.value(QStringList(), 7).toInt(), 7);
    QVERIFY(json.contains(QStringList{a, QStringLiteral("n")}));
    QVERIFY(!json.contains(QStringLiteral("n")));
    QVERIFY(json.value(b).isValid());
    QCOMPARE(json.keys(), (QStringList{a, b}));

    QVERIFY(Json(QVariant(QVariantMap())).valid);
    QVERIFY(!Json(QVariant(QVariantHash{{a, 1}})).valid);
    QCOMPARE(Json(QVariant(QVariantHash{{a, 1}})).map.size(), 1);
    QCOMPARE(Json(QVariantMap{{a, b}}).toJson(), QByteArray("{\n    \"a\": \"b\"\n}\n"));
}

void TstStoreRecords::page_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("objects");
    QTest::addColumn<QString>("next");
    QTest::addColumn<QList<int>>("numbers"); // limit, offset, total

    using Numbers = QList<int>;
    QTest::newRow("empty") << QByteArray("{}") << 0 << "" << Numbers{0, 0, 0};
    QTest::newRow("one object") << QByteArray("{\"uuid\": \"1\", \"meta\": {\"next\": \"/x\"}}")
                                << 1 << "" << Numbers{1, 0, 1};
    QTest::newRow("list") << QByteArray("{\"objects\": [1, 2], \"meta\": {\"next\": \"/x?a=b c\","
                                        "\"limit\": 2, \"offset\": 4, \"total_count\": 9}}")
                          << 2 << "/x?a=b%20c" << Numbers{2, 4, 9};
    QTest::newRow("no meta") << QByteArray("{\"objects\": []}") << 0 << "" << Numbers{0, 0, 0};
    QTest::newRow("null") << QByteArray("{\"objects\": null, \"meta\": {\"next\": null}}") << 0
                          << "" << Numbers{0, 0, 0};
}

void TstStoreRecords::page()
{
    QFETCH(QByteArray, data);
    ResultPage page{Json(data)};
    QTEST(page.objects.size(), "objects");
    QTEST(page.next.toString(QUrl::FullyEncoded), "next");
    QTEST((QList<int>{page.limit, page.offset, page.totalCount}), "numbers");
    page.clear();
    QVERIFY(page.objects.isEmpty() && page.next.isEmpty() && page.previous.isEmpty());
    QCOMPARE(page.limit + page.offset + page.totalCount, 0);
}

void TstStoreRecords::nullAndEmpty()
{
    const Store::Application app;
    QVERIFY(!app.reserved.isNull());
    QVERIFY(app.uuid.isNull());
    const Store::Application copy = app;
    QCOMPARE(copy.stamp, app.stamp);
    QCOMPARE(app.toMap().size(), 26);
    QCOMPARE(app.toMap().value(QStringLiteral("createdOn")).type(), QVariant::DateTime);

    const Store::Review review;
    QVERIFY(review.createdOn.isValid());
    QCOMPARE(review.updatedOn, review.createdOn);
}

void TstStoreRecords::imageIdentifiers()
{
    Store::ImageSets sets;
    QCOMPARE(sets.insert({}), QString());
    const QString id = sets.insert({image(86, 86, "b"), image(100, 100, "a")});
    // Keys sort as text, so the larger one comes first: "100x100a 86x86b".
    QCOMPARE(id, QStringLiteral("scaled://4d564b7dfa7722b915d8aeb1b1b3bd18"));
    QCOMPARE(sets.insert({image(100, 100, "a"), image(86, 86, "b")}), id);
    QCOMPARE(sets.insert({image(100, 100, "x"), image(86, 86, "b"), image(100, 100, "a")}), id);
    QVERIFY(sets.insert({image(86, 86, "a"), image(100, 100, "b")}) != id);
    QCOMPARE(*sets.find(id),
             (Store::ImageSet{{QStringLiteral("100x100"), QStringLiteral("a")},
                              {QStringLiteral("86x86"), QStringLiteral("b")}}));
    QVERIFY(sets.find(QStringLiteral("scaled://")) && sets.find(id + id)->isEmpty());
}

void TstStoreRecords::imageForSize_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QString>("chosen");

    const auto row = [](const char *name, const char *keys, const QSize &size, const char *chosen) {
        QTest::newRow(name) << QString::fromLatin1(keys).split(QLatin1Char(' ')) << size
                            << QString::fromLatin1(chosen);
    };
    row("exact", "100x100 86x86", {100, 100}, "100x100");
    row("the closest height", "100x100 86x86", {90, 90}, "86x86");
    row("first in text order", "100x80 100x120", {7, 100}, "100x120");
    row("the width doesn't count", "1x90 100x80", {100, 86}, "1x90");
    row("exact in width only by the whole", "100x1 86x90", {100, 80}, "86x90");
    row("odd keys count as -1", "1x2x3 rubbish 5x9", {1, 1}, "1x2x3");
    row("no number is 0", "axb 5x9", {1, 1}, "axb");
    row("far away", "1x-2147483648", {1, 2147483647}, "");
    QTest::newRow("none") << QStringList() << QSize(1, 1) << QString();
}

void TstStoreRecords::imageForSize()
{
    QFETCH(QStringList, keys);
    QFETCH(QSize, size);
    Store::ImageSet images;
    for (const QString &key : qAsConst(keys))
        images.insert(key, key);
    QTEST(Store::scaledImageUrl(images, size), "chosen");
}

void TstStoreRecords::downloadMarks_data()
{
    QTest::addColumn<int>("downloads");
    QTest::addColumn<QString>("mark");

    const struct
    {
        int downloads;
        const char *mark;
    } rows[] = {
        {-5, "-5"},
        {0, "0"},
        {10, "10"},
        {11, "10+"},
        {49, "10+"},
        {50, "50+"},
        {99, "50+"},
        {100, "100+"},
        {499, "100+"},
        {500, "500+"},
        {999, "500+"},
        {1000, "1,000+"},
        {4999, "1,000+"},
        {5000, "5,000+"},
        {9999, "5,000+"},
        {10000, "10,000+"},
        {24999, "10,000+"},
        {25000, "25,000+"},
        {49999, "25,000+"},
        {50000, "50,000+"},
        {74999, "50,000+"},
        {75000, "75,000+"},
        {99999, "75,000+"},
        {100000, "100,000+"},
        {249999, "100,000+"},
        {250000, "250,000+"},
        {499999, "250,000+"},
        {500000, "500,000+"},
        {2147483647, "500,000+"},
    };
    for (const auto &row : rows) {
        QTest::newRow(QByteArray::number(row.downloads).constData())
            << row.downloads << QString::fromLatin1(row.mark);
    }
}

void TstStoreRecords::downloadMarks()
{
    QFETCH(int, downloads);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QTEST(Store::downloadMark(downloads), "mark");
    QLocale::setDefault(QLocale::c());
}

void TstStoreRecords::reviewLanguage_data()
{
    QTest::addColumn<QStringList>("languages");
    QTest::addColumn<QString>("language");

    const auto row = [](const char *languages, const char *language) {
        QTest::newRow(languages) << QString::fromLatin1(languages).split(QLatin1Char(' '),
                                                                         Qt::SkipEmptyParts)
                                 << QString::fromLatin1(language);
    };
    row("", "en");
    row("fi-FI sv", "fi");
    row("sv fi-FI", "sv");
    row("zh-Hans-CN", "zh-hans-cn");
    row("zh-TW", "zh-tw");
    row("zh", "zh");
    row("C", "C");
}

void TstStoreRecords::reviewLanguage()
{
    QFETCH(QStringList, languages);
    QTEST(Store::storeLanguage(languages), "language");
}

void TstStoreRecords::recordsCrossQueuedConnections()
{
    const Store::RequestProxy proxy(nullptr); // what brings records to anybody registers them
    const char *const names[] = {
        "Store::Application::ConstPtr", "Store::Backplate::ConstPtr", "Store::Category::ConstPtr",
        "Store::Company::ConstPtr",     "Store::Feed::ConstPtr",      "Store::ResultPage",
        "Store::Review::ConstPtr",      "Store::User::ConstPtr",
    };
    for (const char *name : names)
        QVERIFY2(QMetaType::type(name) != QMetaType::UnknownType, name);
}

QTEST_GUILESS_MAIN(TstStoreRecords)
#include "tst_storerecords.moc"
