#include "notification.h"

#include "simulatorclient.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

namespace {

const QString category = QStringLiteral("x-tesk.software-update");

void fill(Notification &notification)
{
    notification.setCategory(category);
    notification.setAppName(QStringLiteral("Store"));
    notification.setSummary(QStringLiteral("2 updates"));
    notification.setBody(QStringLiteral("Chess, Boats"));
    notification.setPreviewSummary(QStringLiteral("Updates"));
    notification.setPreviewBody(QString());
    notification.setItemCount(2);
    notification.setRemoteDBusCallServiceName(QStringLiteral("org.teskmobile.pavilion"));
    notification.setRemoteDBusCallObjectPath(QStringLiteral("/LauncherModel"));
    notification.setRemoteDBusCallInterface(
        QStringLiteral("org.teskmobile.pavilion.LauncherModel"));
    notification.setRemoteDBusCallMethodName(QStringLiteral("updatingFinished"));
    notification.setRemoteDBusCallArguments({QStringLiteral("chess")});
}

/** Publishes like the client does: the object is gone at once. */
uint publishSummary(const QString &summary, uint replaces = 0)
{
    Notification notification;
    fill(notification);
    notification.setSummary(summary);
    notification.setReplacesId(replaces);
    notification.publish();
    return notification.replacesId();
}

QStringList summaries()
{
    QStringList list;
    const auto notifications = Notification::notifications();
    for (const QSharedPointer<Notification> &notification : notifications)
        list.append(notification->summary());
    return list;
}

/** What a later process of the application does; see main(). */
bool runSelf(const QString &mode, const QString &busAddress = QString())
{
    QProcess process;
    if (!busAddress.isNull()) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress);
        process.setProcessEnvironment(environment);
    }
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(QCoreApplication::applicationFilePath(), {mode});
    return process.waitForFinished() && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
}

} // namespace

class TstNotification : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void saysOnTheBusWhatItHolds();
    void previewAloneIsSeenByEveryServer();
    void isFoundUntilClosed_data();
    void isFoundUntilClosed();
    void isFoundByALaterProcess();
    void becomesVoidWithTheServer();
    void tapMakesTheRemoteCall_data();
    void tapMakesTheRemoteCall();
    void isNotRecordedWhenRefused();
    void survivesABrokenRecord_data();
    void survivesABrokenRecord();
    void doesNothingWithoutABus();

private:
    [[nodiscard]] QJsonArray shown();

    SimulatorClient m_services{QStringLiteral("Services")};
};

void TstNotification::init()
{
    m_services.command(QStringLiteral("reset"));
    m_services.command(QStringLiteral("notifications-restart"));
    QVERIFY(Notification::notifications().isEmpty());
}

QJsonArray TstNotification::shown()
{
    return m_services.command(QStringLiteral("notifications-list"))[QLatin1String("notifications")]
        .toArray();
}

void TstNotification::saysOnTheBusWhatItHolds()
{
    Notification notification;
    fill(notification);
    notification.publish();

    const QJsonArray calls = m_services.entries(QStringLiteral("notification.notify"));
    QCOMPARE(calls.size(), 1);
    const QJsonObject hints{
        {QStringLiteral("category"), category},
        {QStringLiteral("x-kiosk-item-count"), 2},
        {QStringLiteral("x-kiosk-preview"), QJsonArray{QStringLiteral("Updates"), QString()}},
        {QStringLiteral("x-kiosk-action"),
         QJsonArray{QStringLiteral("org.teskmobile.pavilion"), QStringLiteral("/LauncherModel"),
                    QStringLiteral("org.teskmobile.pavilion.LauncherModel"),
                    QStringLiteral("updatingFinished"), QJsonArray{QStringLiteral("chess")}}}};
    const QJsonArray wanted{QStringLiteral("Store"),
                            0,
                            QString(),
                            QStringLiteral("2 updates"),
                            QStringLiteral("Chess, Boats"),
                            QJsonArray{QStringLiteral("default"), QString()},
                            hints,
                            -1};
    QCOMPARE(calls[0].toObject()[QLatin1String("arguments")].toArray(), wanted);
    QVERIFY(notification.replacesId() > 0);
}

void TstNotification::previewAloneIsSeenByEveryServer()
{
    Notification notification;
    notification.setPreviewSummary(QStringLiteral("Error"));
    notification.setPreviewBody(QStringLiteral("No space"));
    notification.publish();

    const QJsonObject seen = shown().at(0).toObject();
    QCOMPARE(seen[QLatin1String("summary")].toString(), QStringLiteral("Error"));
    QCOMPARE(seen[QLatin1String("body")].toString(), QStringLiteral("No space"));
    QCOMPARE(seen[QLatin1String("appName")].toString(), QCoreApplication::applicationName());
    QCOMPARE(seen[QLatin1String("actions")].toArray(), QJsonArray());
    QVERIFY(!seen[QLatin1String("hints")].toObject().contains(QLatin1String("x-kiosk-action")));
    const auto found = Notification::notifications();
    QCOMPARE(found.size(), 1);
    QCOMPARE(found[0]->summary(), QString());
}

void TstNotification::isFoundUntilClosed_data()
{
    QTest::addColumn<QString>("by");

    QTest::newRow("closed by the application") << QStringLiteral("application");
    QTest::newRow("dismissed by the user") << QStringLiteral("user");
    QTest::newRow("tapped by the user") << QStringLiteral("tap");
}

void TstNotification::isFoundUntilClosed()
{
    QFETCH(QString, by);
    const uint id = publishSummary(QStringLiteral("one"));
    QVERIFY(publishSummary(QStringLiteral("other")) != id);
    QCOMPARE(publishSummary(QStringLiteral("renewed"), id), id);
    QCOMPARE(shown().size(), 2);
    QCOMPARE(summaries(), (QStringList{QStringLiteral("other"), QStringLiteral("renewed")}));

    const QJsonObject arguments{{QStringLiteral("id"), int(id)}};
    if (by == QLatin1String("application"))
        Notification::notifications().last()->close();
    else if (by == QLatin1String("user"))
        m_services.command(QStringLiteral("notification-close"), arguments);
    else
        m_services.command(QStringLiteral("notification-action"), arguments);
    QTRY_COMPARE(summaries(), QStringList(QStringLiteral("other")));
    QCOMPARE(shown().size(), 1);
}

void TstNotification::isFoundByALaterProcess()
{
    QVERIFY(runSelf(QStringLiteral("publish")));

    const auto found = Notification::notifications();
    QCOMPARE(found.size(), 1);
    Notification wanted;
    fill(wanted);
    QVERIFY(found[0]->replacesId() > 0);
    QCOMPARE(found[0]->category(), wanted.category());
    QCOMPARE(found[0]->summary(), wanted.summary());
    QCOMPARE(found[0]->previewSummary(), wanted.previewSummary());
    QCOMPARE(found[0]->itemCount(), wanted.itemCount());
    QCOMPARE(found[0]->remoteDBusCallMethodName(), wanted.remoteDBusCallMethodName());
    QCOMPARE(found[0]->remoteDBusCallArguments(), wanted.remoteDBusCallArguments());

    found[0]->close();
    QVERIFY(shown().isEmpty());
}

void TstNotification::becomesVoidWithTheServer()
{
    const uint id = publishSummary(QStringLiteral("one"));
    const auto kept = Notification::notifications();
    m_services.command(QStringLiteral("notifications-restart"));
    QVERIFY(Notification::notifications().isEmpty());

    // The number now belongs to another application's notification.
    QDBusInterface server(QStringLiteral("org.freedesktop.Notifications"),
                          QStringLiteral("/org/freedesktop/Notifications"),
                          QStringLiteral("org.freedesktop.Notifications"));
    const QDBusReply<uint> reply =
        server.call(QStringLiteral("Notify"), QStringLiteral("mail"), 0U, QString(),
                    QStringLiteral("New mail"), QString(), QStringList(), QVariantMap(), -1);
    QCOMPARE(reply.value(), id);
    QVERIFY(publishSummary(QStringLiteral("two"), id) != id);
    kept[0]->close();
    QCOMPARE(shown().size(), 2);
    QCOMPARE(summaries(), QStringList(QStringLiteral("two")));
}

void TstNotification::tapMakesTheRemoteCall_data()
{
    QTest::addColumn<QString>("publisher");
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("calls");

    const QString tap = QStringLiteral("default");
    QTest::newRow("tapped") << QStringLiteral("this process") << tap << 1;
    QTest::newRow("published by an earlier process")
        << QStringLiteral("earlier process") << tap << 1;
    QTest::newRow("another action")
        << QStringLiteral("this process") << QStringLiteral("settings") << 0;
    QTest::newRow("of another application") << QStringLiteral("nobody here") << tap << 0;
}

void TstNotification::tapMakesTheRemoteCall()
{
    QFETCH(QString, publisher);
    QFETCH(QString, action);
    QFETCH(int, calls);
    if (publisher == QLatin1String("this process"))
        publishSummary(QStringLiteral("one"));
    else if (publisher == QLatin1String("earlier process"))
        QVERIFY(runSelf(QStringLiteral("publish")));
    else
        QVERIFY(runSelf(QStringLiteral("publish-as-another")));
    QCOMPARE(shown().size(), 1);
    static_cast<void>(Notification::notifications());

    m_services.command(QStringLiteral("notification-action"),
                       {{QStringLiteral("id"), shown()[0].toObject()[QLatin1String("id")]},
                        {QStringLiteral("action"), action}});
    // A second one, whose call comes last, shows that the first has had its time.
    Notification last;
    fill(last);
    last.setRemoteDBusCallArguments({QStringLiteral("last")});
    last.publish();
    m_services.command(QStringLiteral("notification-action"),
                       {{QStringLiteral("id"), int(last.replacesId())}});
    const auto isLast = [](const QJsonObject &entry) {
        return entry[QLatin1String("arguments")].toArray().contains(QStringLiteral("last"))
            && entry[QLatin1String("kind")].toString()
            == QLatin1String("launcher.updatingFinished");
    };
    QVERIFY(!m_services.waitFor(isLast).isEmpty());
    QCOMPARE(m_services.entries(QStringLiteral("launcher.updatingFinished")).size(), calls + 1);
}

void TstNotification::isNotRecordedWhenRefused()
{
    m_services.command(QStringLiteral("error"),
                       {{QStringLiteral("method"), QStringLiteral("notification.notify")}});
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Could not publish")));
    QCOMPARE(publishSummary(QStringLiteral("one")), 0U);
    QVERIFY(Notification::notifications().isEmpty());
}

void TstNotification::survivesABrokenRecord_data()
{
    QTest::addColumn<int>("length"); // of what is kept; negative: of other bytes

    QTest::newRow("empty") << 0;
    QTest::newRow("cut in its head") << 6;
    QTest::newRow("cut in an entry") << 150;
    QTest::newRow("something else") << -500;
}

void TstNotification::survivesABrokenRecord()
{
    QFETCH(int, length);
    publishSummary(QStringLiteral("one"));
    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation));
    const QStringList files =
        folder.entryList({QCoreApplication::applicationName() + QLatin1Char('*')}, QDir::Files);
    QCOMPARE(files.size(), 1);
    QFile file(folder.filePath(files[0]));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.size() > 150);
    if (length >= 0)
        QVERIFY(file.resize(length));
    else
        QCOMPARE(file.write(QByteArray(-length, '\xff')), qint64(-length));
    file.close();

    QVERIFY(Notification::notifications().isEmpty());
    publishSummary(QStringLiteral("two"));
    QCOMPARE(summaries(), QStringList(QStringLiteral("two")));
}

void TstNotification::doesNothingWithoutABus()
{
    QVERIFY(runSelf(QStringLiteral("without-bus"), QStringLiteral("unix:path=/nowhere")));
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QString mode = QCoreApplication::arguments().value(1);
    if (mode == QLatin1String("publish-as-another"))
        QCoreApplication::setApplicationName(QStringLiteral("another"));
    if (mode.startsWith(QLatin1String("publish"))) {
        Notification notification;
        fill(notification);
        notification.publish();
        return notification.replacesId() > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (mode == QLatin1String("without-bus")) {
        const uint id = publishSummary(QStringLiteral("one"), 5);
        Notification().close();
        return id == 5 && Notification::notifications().isEmpty() ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    TstNotification test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_notification.moc"
