#include "records.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Bench {

namespace {

constexpr int years = 3;

quint32 scattered(int index)
{
    return quint32(index) * 2654435761U; // Knuth's multiplicative hash: a permutation
}

QString text(const char *form, int index)
{
    return QString::fromLatin1(form).arg(index);
}

QDateTime date(int index)
{
    return QDateTime(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC)
        .addSecs(qint64(scattered(index)) % (years * 365LL * 86400));
}

QJsonArray images(const char *kind, int index, const QList<int> &sizes)
{
    QJsonArray result;
    for (const int size : sizes)
        result.append(QJsonObject{{QStringLiteral("width"), size},
                                  {QStringLiteral("height"), size},
                                  {QStringLiteral("url"),
                                   QStringLiteral("/static/%1/app-%2/%3x%3.png")
                                       .arg(QLatin1String(kind))
                                       .arg(index)
                                       .arg(size)}});
    return result;
}

QJsonObject object(int index)
{
    const QString longText =
        QStringLiteral("What it does, told in a sentence or two, with all that a reader wants. ");
    return {
        {QStringLiteral("uuid"), text("00000000-0000-4000-8000-%1", index)},
        {QStringLiteral("package_name"), text("application-%1", index)},
        {QStringLiteral("adult_only"), false},
        {QStringLiteral("company"), text("company-%1", index % 20)},
        {QStringLiteral("user"), text("user-%1", index % 50)},
        {QStringLiteral("username"), text("Somebody %1", index % 50)},
        {QStringLiteral("summary"), longText},
        {QStringLiteral("title"), text("Title %1", int(scattered(index) >> 8))},
        {QStringLiteral("description"), longText.repeated(6)},
        {QStringLiteral("version"), text("1.%1-2", index % 30)},
        {QStringLiteral("changes"), longText.repeated(2)},
        {QStringLiteral("downloads"), index * 7},
        {QStringLiteral("likes"), index * 3},
        {QStringLiteral("created_on"), date(index).addDays(-90).toString(Qt::ISODate)},
        {QStringLiteral("updated_on"), date(index).toString(Qt::ISODate)},
        {QStringLiteral("open_source_link"), text("https://source.example/%1", index)},
        {QStringLiteral("website"), text("https://application.example/%1", index)},
        {QStringLiteral("flattr_auto_submit_url"), QString()},
        {QStringLiteral("binary_size"), 1000000 + index},
        {QStringLiteral("icon_image"), images("icon", index, {64, 86, 128, 172})},
        {QStringLiteral("cover_image"), images("cover", index, {270, 540})},
        {QStringLiteral("requirements"),
         QJsonArray{QJsonObject{{QStringLiteral("name"), QStringLiteral("libone")}},
                    QJsonObject{{QStringLiteral("name"), QStringLiteral("libtwo")}}}},
        {QStringLiteral("images"), images("screenshot", index, {540, 541, 542, 543})},
    };
}

} // namespace

QByteArray pageOf(int count)
{
    QJsonArray objects;
    for (int i = 0; i < count; ++i)
        objects.append(object(i));
    const QJsonObject meta{{QStringLiteral("limit"), count},
                           {QStringLiteral("offset"), 0},
                           {QStringLiteral("total_count"), count},
                           {QStringLiteral("next"), QJsonValue()},
                           {QStringLiteral("previous"), QJsonValue()}};
    return QJsonDocument(
               QJsonObject{{QStringLiteral("meta"), meta}, {QStringLiteral("objects"), objects}})
        .toJson(QJsonDocument::Compact);
}

Store::Application::ConstPtr application(int index)
{
    const auto app = QSharedPointer<Store::Application>::create();
    app->valid = true;
    app->uuid = text("00000000-0000-4000-8000-%1", index);
    app->packageName = text("application-%1", index);
    app->title = text("Title %1", int(scattered(index) >> 8));
    app->summary = QStringLiteral("What it does, told in a sentence.");
    app->description = app->summary.repeated(6);
    app->version = text("1.%1-2", index % 30);
    app->userName = text("Somebody %1", index % 50);
    app->downloads = index * 7;
    app->likes = index * 3;
    app->requirements = QStringList{QStringLiteral("libone"), QStringLiteral("libtwo")};
    app->screenshots =
        QStringList{QStringLiteral("/static/a.png"), QStringLiteral("/static/b.png")};
    app->updatedOn = date(index);
    app->createdOn = app->updatedOn.addDays(-90);
    return app;
}

} // namespace Bench
