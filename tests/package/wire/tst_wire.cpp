#include "../../support/text.h"
#include "wireclient.h"

#include <QRegularExpression>
#include <QTest>

namespace {

/** What the suite may expect of the daemon that it runs against. */
struct Backend
{
    QString installed; // name of a package that is there
    QString available; // name of one that is not, but could be
    QString availableId;
    QString file; // of the latter
    QString distribution; // that the system can be upgraded to
    QHash<QString, QString> lacks; // test function or row to the reason for leaving it out
};

Backend backendFor(const QString &name)
{
    const QString canned = text("the dummy backend answers with canned data");
    if (name == text("dummy")) {
        return {text("powertop"),
                {},
                {},
                {},
                text("fc9"),
                {{text("resolveKnowsWhatIsThere"), canned}, {text("packageLife"), canned}}};
    }
    if (name == text("apt")) {
        return {text("bash"),
                text("wire-sample"),
                text("wire-sample;1.0-1;all;local"),
                text("/usr/share/wire-sample/file"),
                {},
                {{text("repository data"), text("the apt backend has no RepoSetData")},
                 {text("upgradeIsCancelled"), text("the apt backend has no UpgradeSystem")}}};
    }
    return {text("orvik-calculator"),
            text("larder"),
            text("larder;1.6.1-1;noarch;store"),
            text("/usr/share/applications/larder.desktop"),
            text("orvik-configuration-fjord"),
            {}};
}

QString questionOrder(int role)
{
    return text("Role %1, listed, reply, Status 18, Finished 1, delisted").arg(role);
}

QString changeOrder(int role)
{
    return text("Role %1, Status 31, reply, listed, Status 18, Finished 1, delisted").arg(role);
}

/** The events that all daemons tell, without the running time that ends "Finished". */
QString orderOf(const QStringList &events)
{
    QStringList order = only(events,
                             {text("Role "), text("listed"), text("reply"), text("Status 31"),
                              text("Status 18"), text("Finished "), text("delisted"),
                              text("ErrorCode"), text("Destroy"), text("error ")});
    order.replaceInStrings(QRegularExpression(text("^(Finished \\d+) .*")), text("\\1"));
    return order.join(text(", "));
}

QStringList packagesIn(const QStringList &events)
{
    QStringList ids;
    for (const QString &row : only(events, {text("Package ")}))
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
    void init();

    void order_data();
    void order();
    void refusal_data();
    void refusal();
    void resolveKnowsWhatIsThere();
    void upgradeIsCancelled();
    void packageLife();
    void endedTransactionIsDestroyed();

private:
    WireClient m_client{text("wire")};
    const Backend m_backend = backendFor(qEnvironmentVariable("WIRE_DAEMON"));
};

void TstWire::init()
{
    for (const char *name : {QTest::currentTestFunction(), QTest::currentDataTag()}) {
        const QString reason = m_backend.lacks.value(text(name));
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
    }
}

void TstWire::order_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("order");

    const auto row = [](const char *name, const char *method, const QVariantList &arguments,
                        const QString &order) {
        QTest::newRow(name) << text(method) << arguments << order;
    };
    row("resolve", "Resolve", {installedOnly, QStringList{m_backend.installed}}, questionOrder(17));
    row("list", "GetPackages", {installedOnly}, questionOrder(5));
    row("repositories", "GetRepoList", {quint64(2)}, questionOrder(6));
    row("owner of a file", "SearchFiles", {installedOnly, QStringList{text("/no/such")}},
        questionOrder(19));
    row("refresh", "RefreshCache", {true}, changeOrder(13));
    row("repository data", "RepoSetData", {text("store"), text("refresh-now"), text("true")},
        changeOrder(16));
}

void TstWire::order()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, order);
    const QStringList events = m_client.run(method, arguments);
    QCOMPARE(orderOf(events), order);
    for (const QString &row : only(events, {text("Package "), text("RepoDetail ")})) {
        QVERIFY(events.indexOf(row) > events.indexOf(text("Status 2")));
        QVERIFY(events.indexOf(row) < events.indexOf(text("Status 18")));
    }
}

void TstWire::refusal_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("error");

    const auto row = [](const char *name, const char *method, const QVariantList &arguments,
                        const char *error) {
        QTest::newRow(name) << text(method) << arguments
                            << text("error org.freedesktop.PackageKit.Transaction.") + text(error);
    };
    row("no name", "Resolve", {installedOnly, QStringList()},
        "InputInvalid Too few items to process");
    row("no file", "SearchFiles", {installedOnly, QStringList{QString()}},
        "SearchInvalid Search string zero length");
    row("too few parts", "InstallPackages", {quint64(0), QStringList{text("a;b")}},
        "PackageIdInvalid The package id's 'a;b' are not valid");
    row("too many parts", "RemovePackages",
        {quint64(0), QStringList{text("a;b;c;d;e")}, false, false},
        "PackageIdInvalid The package id's 'a;b;c;d;e' are not valid");
    row("missing package file", "InstallFiles", {quint64(2), QStringList{text("/no/such.rpm")}},
        "NoSuchFile File /no/such.rpm is not found or unsupported");
    row("no package file", "InstallFiles", {quint64(2), QStringList{text("/etc/passwd")}},
        "NoSuchFile File /etc/passwd is not found or unsupported");
}

void TstWire::refusal()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, error);
    QCOMPARE(m_client.run(method, arguments), (QStringList{text("Destroy"), error}));
}

void TstWire::resolveKnowsWhatIsThere()
{
    const auto resolve = [this](quint64 filter, const QString &name) {
        return packagesIn(m_client.run(text("Resolve"), {filter, QStringList{name}}));
    };
    const QStringList installed = resolve(installedOnly, m_backend.installed);
    QCOMPARE(installed.size(), 1);
    QVERIFY(installed.first().startsWith(m_backend.installed + QLatin1Char(';')));
    QCOMPARE(installed.first().count(QLatin1Char(';')), 3);
    QCOMPARE(resolve(installedOnly, m_backend.available), QStringList());
    QCOMPARE(resolve(newestOfAll, m_backend.available), QStringList{m_backend.availableId});
}

void TstWire::upgradeIsCancelled()
{
    const QString path = m_client.create();
    m_client.call(path, text("UpgradeSystem"), {quint64(0), m_backend.distribution, 1U});
    QVERIFY(m_client.waitFor(path, text("Status 2")));
    QVERIFY(m_client.waitFor(path, text("Percentage ")));
    m_client.call(path, text("Cancel"));
    QVERIFY(m_client.waitFor(path, text("delisted")));
    const QStringList end = only(m_client.events(path), {text("ErrorCode"), text("Finished")});
    QCOMPARE(end.size(), 2);
    QVERIFY2(end.first().startsWith(text("ErrorCode 17 ")), qPrintable(end.first()));
    QVERIFY2(end.last().startsWith(text("Finished 3 ")), qPrintable(end.last()));
}

void TstWire::packageLife()
{
    const QStringList id{m_backend.availableId};
    const auto listed = [this] {
        return packagesIn(m_client.run(text("GetPackages"), {installedOnly}))
            .filter(m_backend.available + QLatin1Char(';'));
    };
    const auto owners = [this] {
        return packagesIn(
            m_client.run(text("SearchFiles"), {installedOnly, QStringList{m_backend.file}}));
    };
    // Only fetched; whoever only fetches needs no permission.
    QStringList events = m_client.run(text("InstallPackages"), {quint64(8), id});
    QCOMPARE(orderOf(events), questionOrder(11));
    QVERIFY(events.contains(text("TransactionFlags 8")));
    QCOMPARE(listed(), QStringList());

    events = m_client.run(text("InstallPackages"), {quint64(0), id});
    QCOMPARE(orderOf(events), changeOrder(11));
    QVERIFY(events.indexOf(text("AllowCancel 0")) > 0);
    QVERIFY(events.indexOf(text("AllowCancel 1")) > events.indexOf(text("AllowCancel 0")));
    const QStringList present = listed();
    QCOMPARE(present.size(), 1);
    QCOMPARE(owners(), present);
    events = m_client.run(text("GetFiles"), {present});
    const QString files = only(events, {text("Files ")}).value(0);
    QVERIFY2(files.section(QLatin1Char(' '), 2).split(QLatin1Char(',')).contains(m_backend.file),
             qPrintable(files));

    events = m_client.run(text("RemovePackages"), {quint64(0), present, false, false});
    QCOMPARE(orderOf(events), changeOrder(14));
    QCOMPARE(listed() + owners(), QStringList());
}

void TstWire::endedTransactionIsDestroyed()
{
    const QString path = m_client.create();
    m_client.call(path, text("GetRepoList"), {quint64(2)});
    QVERIFY(m_client.waitFor(path, text("Destroy")));
    const QStringList events = m_client.events(path);
    QVERIFY(events.indexOf(text("Destroy")) > events.indexOf(text("delisted")));
}

QTEST_GUILESS_MAIN(TstWire)
#include "tst_wire.moc"
