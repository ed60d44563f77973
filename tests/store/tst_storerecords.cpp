#include "servertranscript.h"
#include "text.h"

#include "store/imageset.h"
#include "store/json.h"
#include "store/requestproxy.h"
#include "store/resultpage.h"
#include "store/storelanguage.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QLocale>
#include <QTest>

using Store::Json;
using Store::ResultPage;

namespace {

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

/** What was told, each with its value unless that is just true. */
QString brief(const QJsonArray &told)
{
    QStringList words;
    for (const QJsonValue &entry : told) {
        const QJsonObject object = entry.toObject();
        const QString value = object.begin().value().toVariant().toString();
        words.append(value == text("true") ? object.begin().key()
                                           : object.begin().key() + text(": ") + value);
    }
    return words.join(text(", "));
}

QVariantMap image(int width, int height, const char *url)
{
    return {{text("width"), width}, {text("height"), height}, {text("url"), text(url)}};
}

} // namespace

class TstStoreRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }

    void golden_data();
    void golden();
    void oddAnswers_data();
    void oddAnswers();

    void jsonPaths();
    void page();
    void imageIdentifiers();
    void imageForSize_data();
    void imageForSize();
    void downloadMarks();
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
        QDir(QStringLiteral(KIOSK_TEST_DATA)).entryList({text("*.json")}, QDir::Files);
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
    const QJsonObject input = readObject(base + text(".json"));
    ScriptedAnswer answer;
    answer.body = QJsonDocument(input[QLatin1String("response")].toObject()).toJson();
    ServerTranscript transcript;
    const QUrl url(input[QLatin1String("url")].toString(text("https://store.example/x/")));
    const QJsonArray told =
        transcript.play(input[QLatin1String("slot")].toString().toLatin1(), answer, url);

    QFile expectedFile(base + text(".expected.json"));
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

void TstStoreRecords::oddAnswers_data()
{
    QTest::addColumn<QByteArray>("slot");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("told");

    const QByteArray error = "error: orvik-store-no-error_content_not_available";
    const QByteArray emptyList = "application: Untitled, hasMore: false, finished";
    const QByteArray failedList = error + ", " + emptyList;
    QByteArray slot;
    const auto row = [&slot](const char *name, const QByteArray &body, const QByteArray &told) {
        QTest::newRow(name) << slot << body << text(told.constData());
    };
    const auto next = [](const char *url) {
        return QByteArray(R"({"objects": [], "meta": {"next": )") + url + "}}";
    };

    slot = "slotApplicationListFinished()";
    row("empty", "", failedList);
    row("rubbish", "<html>", failedList);
    row("cut", R"({"objects": [{"uuid")", failedList);
    row("nested too deep", R"({"objects":)" + repeated("[", 100000) + repeated("]", 100000) + '}',
        failedList);
    row("not UTF-8", "{\"objects\": \"\xff\xfe\"}", failedList);
    row("an error with status 200", R"({"error_message": "", "objects": []})", failedList);
    row("no object at all", "[1, 2]", emptyList);
    row("empty object", "{}", emptyList);
    row("objects of a wrong type", R"({"objects": 5})", emptyList);
    row("elements of a wrong type", R"({"objects": [[], 1, null]})",
        error + ", " + error + ", " + error + ", " + emptyList);
    row("next at itself", next(R"("/x/")"), "page: /x/");
    row("next elsewhere", next(R"("http://other.example/")"), "page: http://other.example/");
    row("next of a wrong type", next(R"(["/x/"])"), emptyList);
    row("next as a number", next("7"), emptyList);
    row("next is rubbish", next(R"("http://[:")"), "page: ");
    row("meta of a wrong type", R"({"objects": [], "meta": "next"})", emptyList);

    slot = "slotLikesListFinished()";
    row("no likes", R"({"objects": [1], "meta": {}})", "likeCount: 0, finished");
    row("a negative number", R"({"objects": [], "meta": {"total_count": -7}})",
        "likeCount: -7, finished");
    row("a number as text", R"({"objects": [], "meta": {"total_count": "12"}})",
        "likeCount: 12, finished");
    row("likes without a list", R"({"x": 1})", "likeCount: 1, finished");
    row("unreadable likes", "{", "finished");
    row("further likes are nobody's business", next(R"("/x/")"), "likeCount: 0, finished");

    slot = "slotFeedItemsReceived()";
    row("unreadable feed", "{", "finished");
    row("a feed goes on", next(R"("/x/")"), "");
    slot = "slotReviewListFinished()";
    row("unreadable reviews", "{", "finished");
    row("reviews go on, page by page", R"({"objects": [{}, {}], "meta": {"next": "/x/"}})",
        "review: , hasMore, review: , hasMore: false");
    slot = "slotSearchCompletionsFinished()";
    row("unreadable completions", "{", error + ", finished");
    row("no completions", R"({"results": {}})", "finished");
    row("completions go on", next(R"("/x/")"), "");
    slot = "slotInstalledApplicationsReceived()";
    row("an unreadable installed list is the end", "{", "ready, finished");
    row("an empty one as well", R"({"objects": []})", "ready, finished");
    row("an installed list goes on", next(R"("/x/")"), "");

    slot = "slotSendReviewFinished()";
    row("unreadable review uuid", "", "finished");
    row("empty review uuid", R"({"uuid": ""})", "finished");
    const QByteArray longText = repeated("x", 1000000);
    row("a long text", R"({"uuid": ")" + longText + "\"}",
        "reviewUuid: " + longText + ", finished");
    slot = "slotBackplateActivationFinished()";
    row("unreadable cover", R"({"bkpid": "1", "error_message": ""})", "finished");
    slot = "slotApplicationDataFinished()";
    row("unreadable application", "{", error + ", finished");
    slot = "slotImageFinished()";
    row("an image is anything", QByteArray("\0\xff{", 3), "image:  00ff7b, finished");
    slot = "slotCompanyFinished()";
    row("a failed company is an empty one", R"({"error_message": ""})", "company: , finished");
    slot = "slotUserReceived()";
    row("unreadable own user", "{", "finished");
    slot = "slotStoreEndPointsReceived()";
    row("no store", "{", "error: orvik-store-no-error_server_not_available, finished");
    row("a store without applications", R"({"category": {"list_endpoint": "/c/"}})", "finished");
    slot = "slotCategoriesReceived()";
    row("the category above all is always there", R"({"objects": []})", "category: , finished");
    row("a category list goes on", next(R"("/x/")"), "category: ");
}

void TstStoreRecords::oddAnswers()
{
    QFETCH(QByteArray, slot);
    QFETCH(QByteArray, body);
    ScriptedAnswer answer;
    answer.body = body;
    ServerTranscript transcript;
    QTEST(brief(transcript.play(slot, answer)), "told");
}

void TstStoreRecords::jsonPaths()
{
    const QString a = text("a");
    const QString b = text("b");
    const Json json(QByteArray(R"({"a": {"b": 1, "n": null}, "b": [{"a": 1}]})"));
    QCOMPARE(json.value({a, b}).toInt(), 1);
    QCOMPARE(json.value(QStringList{b, a}, 7).toInt(), 7); // a list is no object
    QCOMPARE(json.value({a, b, a}, 7).toInt(), 7);
    QCOMPARE(json.value(QStringList(), 7).toInt(), 7);
    QVERIFY(json.contains(QStringList{a, text("n")}));
    QVERIFY(!json.contains(text("n")));
    QCOMPARE(json.keys(), (QStringList{a, b}));

    QVERIFY(Json(QVariant(QVariantMap())).valid);
    QVERIFY(!Json(QVariant(QVariantHash{{a, 1}})).valid);
    QCOMPARE(Json(QVariant(QVariantHash{{a, 1}})).map.size(), 1);
    const Json failed(QByteArray(R"({"error_message": "text", "traceback": "where"})"));
    QCOMPARE(failed.errorString, text("where"));
    QCOMPARE(Json(QByteArray(R"({"error_message": null})")).errorString, QString());
}

void TstStoreRecords::page()
{
    const auto numbers = [](const ResultPage &page) {
        return QVector<int>{page.objects.size(), page.limit, page.offset, page.totalCount};
    };
    ResultPage page(Json(QByteArray(R"({"objects": [1, 2], "meta": {"next": "/x?a=b c",
                                        "limit": 2, "offset": 4, "total_count": 9}})")));
    QCOMPARE(numbers(page), (QVector<int>{2, 2, 4, 9}));
    QCOMPARE(page.next.toString(QUrl::FullyEncoded), text("/x?a=b%20c"));
    page.clear();
    QCOMPARE(numbers(page), QVector<int>(4));
    QVERIFY(page.next.isEmpty());
    // A single object is a list of its own, and has no other page.
    page = ResultPage(Json(QByteArray(R"({"uuid": "1", "meta": {"next": "/x"}})")));
    QCOMPARE(numbers(page), (QVector<int>{1, 1, 0, 1}));
    QVERIFY(page.next.isEmpty());
}

void TstStoreRecords::imageIdentifiers()
{
    Store::ImageSets sets;
    QCOMPARE(sets.insert({}), QString());
    const QString id = sets.insert({image(86, 86, "b"), image(100, 100, "a")});
    // Keys sort as text, so the larger one comes first: "100x100a 86x86b".
    QCOMPARE(id, text("scaled://4d564b7dfa7722b915d8aeb1b1b3bd18"));
    QCOMPARE(sets.insert({image(100, 100, "x"), image(86, 86, "b"), image(100, 100, "a")}), id);
    QVERIFY(sets.insert({image(86, 86, "a"), image(100, 100, "b")}) != id);
    QCOMPARE(*sets.find(id),
             (Store::ImageSet{{text("100x100"), text("a")}, {text("86x86"), text("b")}}));
    QVERIFY(sets.find(id + id)->isEmpty());
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

void TstStoreRecords::downloadMarks()
{
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QString below = text("10"); // the last that is exact
    const std::pair<int, const char *> marks[] = {
        {11, "10+"},         {50, "50+"},        {100, "100+"},        {500, "500+"},
        {1000, "1,000+"},    {5000, "5,000+"},   {10000, "10,000+"},   {25000, "25,000+"},
        {50000, "50,000+"},  {75000, "75,000+"}, {100000, "100,000+"}, {250000, "250,000+"},
        {500000, "500,000+"}};
    for (const auto &[first, mark] : marks) {
        QCOMPARE(Store::downloadMark(first - 1), below);
        QCOMPARE(Store::downloadMark(first), text(mark));
        below = text(mark);
    }
    QCOMPARE(Store::downloadMark(2147483647), below);
    QCOMPARE(Store::downloadMark(-5), text("-5"));
    QLocale::setDefault(QLocale::c());
}

void TstStoreRecords::reviewLanguage()
{
    const std::pair<const char *, const char *> rows[] = {
        {"", "en"},         {"fi-FI sv", "fi"}, {"sv fi-FI", "sv"}, {"zh-Hans-CN", "zh-hans-cn"},
        {"zh-TW", "zh-tw"}, {"zh", "zh"},       {"C", "C"}};
    for (const auto &[languages, language] : rows) {
        const QStringList list = text(languages).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        QCOMPARE(Store::storeLanguage(list), text(language));
    }
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
