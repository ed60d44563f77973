#include "storephone.h"

#include <QJsonDocument>
#include <QMetaMethod>
#include <QRegularExpression>
#include <QTest>

StorePhone::StorePhone()
    : manager(new ScriptedManager(&journal))
    , packager(std::make_unique<PackageHandler>(manager, nullptr))
    , m_made(manager->made)
{
    tell("reset");
    connectFacade();
}

StorePhone::~StorePhone()
{
    // Jobs that a test left running belong to nobody else.
    packager.reset();
    (void)deleteStarted(m_made);
}

void StorePhone::connectFacade()
{
    facade = std::make_unique<OrvikStore>(&m_images, nullptr);
    facade->tryConnect();
    if (!QTest::qWaitFor([this] { return facade->connectionState() == OrvikStore::Ready; }, 10000))
        QTest::qFail("the store is out of reach", __FILE__, __LINE__);
    store.clearLog();
}

QJsonObject StorePhone::tell(const char *verb, const QByteArray &arguments)
{
    const QJsonDocument document = QJsonDocument::fromJson(arguments);
    if (!document.isObject())
        QTest::qFail(arguments.constData(), __FILE__, __LINE__);
    return store.command(QLatin1String(verb), document.object());
}

QString StorePhone::offer(const QString &package, const QByteArray &keys)
{
    const QJsonObject application{{QStringLiteral("package_name"), package},
                                  {QStringLiteral("set"), QJsonDocument::fromJson(keys).object()}};
    return store.command(QStringLiteral("application"), application)[QLatin1String("uuid")]
        .toString();
}

void StorePhone::offerDemo()
{
    const auto offerOne = [this](const char *name, const char *title, int likes, const char *day) {
        const QByteArray keys = QByteArrayLiteral(R"({"version": "1.5", "title": ")") + title
            + R"(", "likes": )" + QByteArray::number(likes) + R"(, "updated_on": "2026-03-)" + day
            + R"(T10:00:00", "company": "acme", "username": "nils", "user": "u-1"})";
        return offer(QStringLiteral("demo-") + QLatin1String(name), keys);
    };
    offerOne("one", "delta", 5, "01");
    offerOne("two", "Alpha", 9, "03");
    offerOne("three", "bravo", 5, "02");
    offerOne("four", "Charlie", 0, "05");
    offerOne("five", "alpha", 9, "04");
    tell("fault", R"({"path": "/api/v001/company/acme/", "do": "body",
                      "body": "{\"uuid\": \"acme\", \"name\": \"Acme\"}"})");
}

QStringList StorePhone::requests(const QString &path)
{
    static const QRegularExpression device(QStringLiteral("(^|&)(device|domain|osversion)=[^&]*"));
    QStringList found;
    const QJsonArray entries = store.entries(QStringLiteral("request"));
    for (const QJsonValue &entry : entries) {
        const QString asked = entry[QLatin1String("path")].toString();
        if (!asked.startsWith(path))
            continue;
        QString query = entry[QLatin1String("query")].toString().remove(device);
        if (query.startsWith(QLatin1Char('&')))
            query.remove(0, 1);
        found.append(entry[QLatin1String("method")].toString() + QLatin1Char(' ') + asked
                     + (query.isEmpty() ? QString() : QLatin1Char('?') + query));
    }
    return found;
}

void StorePhone::install(const char *packages)
{
    packager->refreshPackages();
    ScriptedTransaction *list = job("list");
    for (const QString &package : text(packages).split(text(", ")))
        list->list->add({package.section(QLatin1Char(' '), 0, 0),
                         package.section(QLatin1Char(' '), 1), QString()});
    list->succeed();
}

ScriptedTransaction *StorePhone::job(const char *name) const
{
    return manager->find(text(name));
}

SignalJournal::SignalJournal(const QObject *object)
{
    const QMetaMethod slot = metaObject()->method(metaObject()->indexOfSlot("note()"));
    const QMetaObject *meta = object->metaObject();
    for (int i = QObject::staticMetaObject.methodCount(); i < meta->methodCount(); ++i) {
        const QMetaMethod method = meta->method(i);
        const bool isCopy = (method.attributes() & QMetaMethod::Cloned) != 0;
        if (method.methodType() == QMetaMethod::Signal && !isCopy
            && !method.name().contains("About"))
            connect(object, method, this, slot);
    }
}

QString SignalJournal::take()
{
    return std::exchange(m_names, {}).join(QLatin1Char(' '));
}

void SignalJournal::note()
{
    const QMetaMethod signal = sender()->metaObject()->method(senderSignalIndex());
    m_names.append(QString::fromLatin1(signal.name()).remove(QStringLiteral("Changed")));
}
