#include "wireclient.h"

#include <QDBusInterface>
#include <QDBusReply>
#include <QTest>
#include <QXmlStreamReader>

namespace {

/** What the suite may expect of the daemon that it runs against. */
struct Backend
{
    QString installed; // name of a package that is there
    QString available; // name of one that is not, but could be
    QString availableId;
    QString file; // of the latter
    QString distribution; // that the system can be upgraded to
    QHash<QString, QString> lacks; // test function to the reason for leaving it out
};

Backend backendFor(const QString &name)
{
    const QString canned = QStringLiteral("the dummy backend answers with canned data");
    if (name == QLatin1String("dummy")) {
        return {QStringLiteral("powertop"),
                {},
                {},
                {},
                QStringLiteral("fc9"),
                {{QStringLiteral("resolveKnowsWhatIsThere"), canned},
                 {QStringLiteral("packageLife"), canned}}};
    }
    if (name == QLatin1String("apt")) {
        return {QStringLiteral("bash"),
                QStringLiteral("wire-sample"),
                QStringLiteral("wire-sample;1.0-1;all;local"),
                QStringLiteral("/usr/share/wire-sample/file"),
                {},
                {{QStringLiteral("repositoryData"),
                  QStringLiteral("the apt backend has no RepoSetData")},
                 {QStringLiteral("upgradeIsCancelled"),
                  QStringLiteral("the apt backend has no UpgradeSystem")}}};
    }
    return {QStringLiteral("orvik-calculator"),
            QStringLiteral("larder"),
            QStringLiteral("larder;1.6.1-1;noarch;store"),
            QStringLiteral("/usr/share/applications/larder.desktop"),
            QStringLiteral("orvik-configuration-fjord"),
            {}};
}

const QString separator = QStringLiteral(", ");
const QStringList milestones{QStringLiteral("Role "),     QStringLiteral("listed"),
                             QStringLiteral("reply"),     QStringLiteral("Status 31"),
                             QStringLiteral("Status 18"), QStringLiteral("Finished "),
                             QStringLiteral("delisted"),  QStringLiteral("ErrorCode"),
                             QStringLiteral("Destroy"),   QStringLiteral("error ")};

QString questionOrder(int role)
{
    return QStringList{QStringLiteral("Role %1").arg(role),
                       QStringLiteral("listed"),
                       QStringLiteral("reply"),
                       QStringLiteral("Status 18"),
                       QStringLiteral("Finished 1"),
                       QStringLiteral("delisted")}
        .join(separator);
}

QString changeOrder(int role)
{
    return QStringList{QStringLiteral("Role %1").arg(role),
                       QStringLiteral("Status 31"),
                       QStringLiteral("reply"),
                       QStringLiteral("listed"),
                       QStringLiteral("Status 18"),
                       QStringLiteral("Finished 1"),
                       QStringLiteral("delisted")}
        .join(separator);
}

/** The events without the running time that ends "Finished". */
QString orderOf(const QStringList &events)
{
    QStringList order = only(events, milestones);
    for (QString &event : order) {
        if (event.startsWith(QLatin1String("Finished ")))
            event = event.section(QLatin1Char(' '), 0, 1);
    }
    return order.join(separator);
}

QStringList packagesIn(const QStringList &events)
{
    QStringList ids;
    const QStringList rows = only(events, {QStringLiteral("Package ")});
    for (const QString &row : rows)
        ids.append(row.section(QLatin1Char(' '), 2, 2));
    return ids;
}

const quint64 installedOnly = 0x4;
const quint64 newestOfAll = 0x210020;

} // namespace

/**
 * The use that the client makes of a package daemon's wire, run without a change against
 * the simulated daemon and two stock ones: what holds here holds on a real phone.
 */
class TstWire : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void interface_data();
    void interface();
    void question_data();
    void question();
    void change_data();
    void change();
    void refusal_data();
    void refusal();
    void strangersAreRefused();
    void resolveKnowsWhatIsThere();
    void repositoryData();
    void upgradeIsCancelled();
    void packageLife();
    void endedTransactionIsDestroyed();

private:
    QScopedPointer<WireClient> m_client;
    Backend m_backend;
};

void TstWire::initTestCase()
{
    m_backend = backendFor(qEnvironmentVariable("WIRE_DAEMON"));
    m_client.reset(new WireClient(QStringLiteral("wire")));
    QVERIFY(m_client->connection().isConnected());
}

void TstWire::init()
{
    const QString reason = m_backend.lacks.value(QLatin1String(QTest::currentTestFunction()));
    if (!reason.isEmpty())
        QSKIP(qPrintable(reason));
}

void TstWire::interface_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("signature");
    const auto method = [](const char *name, const char *signature) {
        QTest::newRow(name) << "method" << signature;
    };
    method("Cancel", "");
    method("SetHints", "as");
    method("DependsOn", "tasb");
    method("GetFiles", "as");
    method("GetPackages", "t");
    method("GetRepoList", "t");
    method("InstallFiles", "tas");
    method("InstallPackages", "tas");
    method("RefreshCache", "b");
    method("RemovePackages", "tasbb");
    method("RepoEnable", "sb");
    method("RepoSetData", "sss");
    method("Resolve", "tas");
    method("SearchFiles", "tas");
    method("UpdatePackages", "tas");
    method("UpgradeSystem", "tsu");
    const auto signal = [](const char *name, const char *signature) {
        QTest::newRow(name) << "signal" << signature;
    };
    signal("Package", "uss");
    signal("Files", "sas");
    signal("RepoDetail", "ssb");
    signal("ErrorCode", "us");
    signal("Finished", "uu");
    signal("Destroy", "");
    const auto property = [](const char *name, const char *signature) {
        QTest::newRow(name) << "property" << signature;
    };
    property("Role", "u");
    property("Status", "u");
    property("Percentage", "u");
    property("AllowCancel", "b");
    property("CallerActive", "b");
    property("LastPackage", "s");
    property("TransactionFlags", "t");
    property("DownloadSizeRemaining", "t");
}

void TstWire::interface()
{
    QFETCH(QString, kind);
    QFETCH(QString, signature);
    QDBusInterface object(QStringLiteral("org.freedesktop.PackageKit"), m_client->create(),
                          QStringLiteral("org.freedesktop.DBus.Introspectable"),
                          m_client->connection());
    const QDBusReply<QString> xml = object.call(QStringLiteral("Introspect"));
    QVERIFY2(xml.isValid(), qPrintable(xml.error().message()));

    QXmlStreamReader reader(xml.value());
    QString interfaceName;
    QString found = QStringLiteral("not there");
    bool inside = false;
    while (!reader.atEnd()) {
        reader.readNext();
        const QString element = reader.name().toString();
        const auto attributes = reader.attributes();
        const QString name = attributes.value(QLatin1String("name")).toString();
        if (reader.isStartElement() && element == QLatin1String("interface"))
            interfaceName = name;
        if (interfaceName != QLatin1String("org.freedesktop.PackageKit.Transaction"))
            continue;
        if (element == kind && reader.isStartElement()
            && name == QLatin1String(QTest::currentDataTag())) {
            inside = true;
            found = attributes.value(QLatin1String("type")).toString();
        } else if (element == kind && reader.isEndElement()) {
            inside = false;
        } else if (inside && reader.isStartElement() && element == QLatin1String("arg")
                   && (kind == QLatin1String("signal")
                       || attributes.value(QLatin1String("direction")) == QLatin1String("in"))) {
            found += attributes.value(QLatin1String("type")).toString();
        }
    }
    QCOMPARE(found, signature);
}

void TstWire::question_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<int>("role");
    QTest::newRow("resolve") << "Resolve"
                             << QVariantList{installedOnly, QStringList{m_backend.installed}} << 17;
    QTest::newRow("list") << "GetPackages" << QVariantList{installedOnly} << 5;
    QTest::newRow("repositories") << "GetRepoList" << QVariantList{quint64(2)} << 6;
    QTest::newRow("owner of a file")
        << "SearchFiles" << QVariantList{installedOnly, QStringList{QStringLiteral("/no/such")}}
        << 19;
}

void TstWire::question()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(int, role);
    const QStringList events = m_client->run(method, arguments);
    QCOMPARE(orderOf(events), questionOrder(role));
    const QStringList data =
        only(events, {QStringLiteral("Package "), QStringLiteral("RepoDetail ")});
    for (const QString &row : data) {
        QVERIFY(events.indexOf(row) > events.indexOf(QStringLiteral("Status 2")));
        QVERIFY(events.indexOf(row) < events.indexOf(QStringLiteral("Status 18")));
    }
}

void TstWire::change_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<int>("role");
    QTest::newRow("refresh") << "RefreshCache" << QVariantList{true} << 13;
}

void TstWire::change()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(int, role);
    const QStringList events = m_client->run(method, arguments);
    QCOMPARE(orderOf(events), changeOrder(role));
}

void TstWire::refusal_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const char *method, const QVariantList &arguments,
                        const char *error) {
        QTest::newRow(name) << method << arguments
                            << QStringLiteral("error org.freedesktop.PackageKit.Transaction.")
                + QLatin1String(error);
    };
    const QStringList none;
    row("no name", "Resolve", {installedOnly, none}, "InputInvalid Too few items to process");
    row("no file", "SearchFiles", {installedOnly, QStringList{QString()}},
        "SearchInvalid Search string zero length");
    row("no id", "InstallPackages", {quint64(0), none},
        "PackageIdInvalid The package id's '' are not valid");
    row("no semicolon", "InstallPackages", {quint64(0), QStringList{QStringLiteral("bad id")}},
        "PackageIdInvalid The package id's 'bad id' are not valid");
    row("too few parts", "InstallPackages", {quint64(0), QStringList{QStringLiteral("a;b")}},
        "PackageIdInvalid The package id's 'a;b' are not valid");
    row("too many parts", "RemovePackages",
        {quint64(0), QStringList{QStringLiteral("a;b;c;d;e")}, false, false},
        "PackageIdInvalid The package id's 'a;b;c;d;e' are not valid");
    row("missing package file", "InstallFiles",
        {quint64(2), QStringList{QStringLiteral("/no/such.rpm")}},
        "NoSuchFile File /no/such.rpm is not found or unsupported");
    row("no package file", "InstallFiles", {quint64(2), QStringList{QStringLiteral("/etc/passwd")}},
        "NoSuchFile File /etc/passwd is not found or unsupported");
}

void TstWire::refusal()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, error);
    const QStringList events = m_client->run(method, arguments);
    QCOMPARE(events, (QStringList{QStringLiteral("Destroy"), error}));
}

void TstWire::strangersAreRefused()
{
    const QString path = m_client->create();
    WireClient stranger(QStringLiteral("stranger"));
    stranger.call(path, QStringLiteral("GetPackages"), {installedOnly});
    QVERIFY(stranger.waitFor(
        path, QStringLiteral("error org.freedesktop.PackageKit.Transaction.RefusedByPolicy ")));

    // The transaction is not spoilt by that.
    m_client->call(path, QStringLiteral("GetRepoList"), {quint64(2)});
    QVERIFY(m_client->waitFor(path, QStringLiteral("Finished 1")));
}

void TstWire::resolveKnowsWhatIsThere()
{
    const auto resolve = [this](quint64 filter, const QString &name) {
        return packagesIn(m_client->run(QStringLiteral("Resolve"), {filter, QStringList{name}}));
    };
    const QStringList installed = resolve(installedOnly, m_backend.installed);
    QCOMPARE(installed.size(), 1);
    QVERIFY(installed.first().startsWith(m_backend.installed + QLatin1Char(';')));
    QCOMPARE(installed.first().count(QLatin1Char(';')), 3);
    QCOMPARE(resolve(installedOnly, m_backend.available), QStringList());
    QCOMPARE(resolve(newestOfAll, m_backend.available), QStringList{m_backend.availableId});
    QCOMPARE(resolve(newestOfAll, QStringLiteral("no-such-package")), QStringList());
    QCOMPARE(resolve(newestOfAll, QStringLiteral("a;b|'%c d")), QStringList());
}

void TstWire::repositoryData()
{
    const QStringList events = m_client->run(
        QStringLiteral("RepoSetData"),
        {QStringLiteral("store"), QStringLiteral("refresh-now"), QStringLiteral("true")});
    QCOMPARE(orderOf(events), changeOrder(16));
}

void TstWire::upgradeIsCancelled()
{
    const QString path = m_client->create();
    m_client->call(path, QStringLiteral("UpgradeSystem"), {quint64(0), m_backend.distribution, 1U});
    QVERIFY(m_client->waitFor(path, QStringLiteral("Status 2")));
    QVERIFY(m_client->waitFor(path, QStringLiteral("Percentage ")));
    m_client->call(path, QStringLiteral("Cancel"));
    QVERIFY(m_client->waitFor(path, QStringLiteral("delisted"), 30000));
    const QStringList end =
        only(m_client->events(path), {QStringLiteral("ErrorCode"), QStringLiteral("Finished")});
    QCOMPARE(end.size(), 2);
    QVERIFY2(end.first().startsWith(QLatin1String("ErrorCode 17 ")), qPrintable(end.first()));
    QVERIFY2(end.last().startsWith(QLatin1String("Finished 3 ")), qPrintable(end.last()));
}

void TstWire::packageLife()
{
    const QStringList id{m_backend.availableId};
    const auto isListed = [this] {
        return packagesIn(m_client->run(QStringLiteral("GetPackages"), {installedOnly}))
            .filter(m_backend.available + QLatin1Char(';'));
    };
    QCOMPARE(isListed(), QStringList());

    // Only fetched; whoever only fetches needs no permission.
    QStringList events = m_client->run(QStringLiteral("InstallPackages"), {quint64(8), id});
    QCOMPARE(orderOf(events), questionOrder(11));
    QVERIFY(events.contains(QStringLiteral("TransactionFlags 8")));
    QCOMPARE(isListed(), QStringList());

    events = m_client->run(QStringLiteral("InstallPackages"), {quint64(0), id});
    QCOMPARE(orderOf(events), changeOrder(11));
    QVERIFY(events.indexOf(QStringLiteral("AllowCancel 0")) > 0);
    QVERIFY(events.indexOf(QStringLiteral("AllowCancel 1"))
            > events.indexOf(QStringLiteral("AllowCancel 0")));
    const QStringList present = isListed();
    QCOMPARE(present.size(), 1);

    events =
        m_client->run(QStringLiteral("SearchFiles"), {installedOnly, QStringList{m_backend.file}});
    QCOMPARE(packagesIn(events), present);
    events = m_client->run(QStringLiteral("GetFiles"), {present});
    const QString files = only(events, {QStringLiteral("Files ")}).value(0);
    QVERIFY2(files.section(QLatin1Char(' '), 2).split(QLatin1Char(',')).contains(m_backend.file),
             qPrintable(files));

    events = m_client->run(QStringLiteral("RemovePackages"), {quint64(0), present, false, false});
    QCOMPARE(orderOf(events), changeOrder(14));
    QCOMPARE(isListed(), QStringList());
    events =
        m_client->run(QStringLiteral("SearchFiles"), {installedOnly, QStringList{m_backend.file}});
    QCOMPARE(packagesIn(events), QStringList());
}

void TstWire::endedTransactionIsDestroyed()
{
    const QString path = m_client->create();
    m_client->call(path, QStringLiteral("GetRepoList"), {quint64(2)});
    QVERIFY(m_client->waitFor(path, QStringLiteral("Destroy"), 20000));
    const QStringList events = m_client->events(path);
    QVERIFY(events.indexOf(QStringLiteral("Destroy")) > events.indexOf(QStringLiteral("delisted")));
}

QTEST_GUILESS_MAIN(TstWire)
#include "tst_wire.moc"
