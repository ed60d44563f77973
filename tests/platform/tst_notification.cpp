#include "notification.h"
#include "runself.h"
#include "text.h"

#include "simulatorclient.h"

#include <QDBusInterface>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTest>

namespace {

const QString category = text("x-tesk.software-update");

void fill(Notification &notification)
{
    notification.setCategory(category);
    notification.setAppName(text("Store"));
    notification.setSummary(text("2 updates"));
    notification.setBody(text("Chess, Boats"));
    notification.setPreviewSummary(text("Updates"));
    notification.setPreviewBody(QString());
    notification.setItemCount(2);
    notification.setRemoteDBusCallServiceName(text("org.teskmobile.pavilion"));
    notification.setRemoteDBusCallObjectPath(text("/LauncherModel"));
    notification.setRemoteDBusCallInterface(text("org.teskmobile.pavilion.LauncherModel"));
    notification.setRemoteDBusCallMethodName(text("updatingFinished"));
    notification.setRemoteDBusCallArguments({text("chess")});
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

} // namespace

class TstNotification : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void saysOnTheBusWhatItHolds();
    void previewAloneIsSeenByEveryServer();
    void isFoundUntilClosed();
    void isFoundByALaterProcess();
    void becomesVoidWithTheServer();
    void tapMakesTheRemoteCall();
    void isNotRecordedWhenRefused();
    void survivesABrokenRecord();
    void doesNothingWithoutABus();

private:
    [[nodiscard]] QJsonArray shown();

    SimulatorClient m_services{text("Services")};
};

void TstNotification::init()
{
    m_services.command("reset");
    m_services.command("notifications-restart");
    QVERIFY(Notification::notifications().isEmpty());
}

QJsonArray TstNotification::shown()
{
    return m_services.command("notifications-list")[QLatin1String("notifications")].toArray();
}

void TstNotification::saysOnTheBusWhatItHolds()
{
    Notification notification;
    fill(notification);
    notification.publish();

    const QJsonArray calls = m_services.entries(text("notification.notify"));
    QCOMPARE(calls.size(), 1);
    const QJsonObject hints{{text("category"), category},
                            {text("x-kiosk-item-count"), 2},
                            {text("x-kiosk-preview"), QJsonArray{text("Updates"), QString()}},
                            {text("x-kiosk-action"),
                             QJsonArray{text("org.teskmobile.pavilion"), text("/LauncherModel"),
                                        text("org.teskmobile.pavilion.LauncherModel"),
                                        text("updatingFinished"), QJsonArray{text("chess")}}}};
    const QJsonArray wanted{text("Store"),
                            0,
                            QString(),
                            text("2 updates"),
                            text("Chess, Boats"),
                            QJsonArray{text("default"), QString()},
                            hints,
                            -1};
    QCOMPARE(calls[0].toObject()[QLatin1String("arguments")].toArray(), wanted);
    QVERIFY(notification.replacesId() > 0);
}

void TstNotification::previewAloneIsSeenByEveryServer()
{
    Notification notification;
    notification.setPreviewSummary(text("Error"));
    notification.setPreviewBody(text("No space"));
    notification.publish();

    const QJsonObject seen = shown().at(0).toObject();
    QCOMPARE(seen[QLatin1String("summary")].toString(), text("Error"));
    QCOMPARE(seen[QLatin1String("body")].toString(), text("No space"));
    QCOMPARE(seen[QLatin1String("appName")].toString(), QCoreApplication::applicationName());
    QCOMPARE(seen[QLatin1String("actions")].toArray(), QJsonArray());
    QVERIFY(!seen[QLatin1String("hints")].toObject().contains(QLatin1String("x-kiosk-action")));
    const auto found = Notification::notifications();
    QCOMPARE(found.size(), 1);
    QCOMPARE(found[0]->summary(), QString());
}

void TstNotification::isFoundUntilClosed()
{
    // By the application, dismissed or tapped by the user.
    for (const char *verb : {"", "notification-close", "notification-action"}) {
        init();
        const uint id = publishSummary(text("one"));
        QVERIFY(publishSummary(text("other")) != id);
        QCOMPARE(publishSummary(text("renewed"), id), id);
        QCOMPARE(shown().size(), 2);
        QCOMPARE(summaries(), (QStringList{text("other"), text("renewed")}));

        if (*verb)
            m_services.command(text(verb), {{text("id"), int(id)}});
        else
            Notification::notifications().last()->close();
        QTRY_COMPARE(summaries(), QStringList(text("other")));
        QCOMPARE(shown().size(), 1);
    }
}

void TstNotification::isFoundByALaterProcess()
{
    QCOMPARE(runSelf({text("publish")}), EXIT_SUCCESS);

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
    const uint id = publishSummary(text("one"));
    const auto kept = Notification::notifications();
    m_services.command("notifications-restart");
    QVERIFY(Notification::notifications().isEmpty());

    // The number now belongs to another application's notification.
    QDBusInterface server(text("org.freedesktop.Notifications"),
                          text("/org/freedesktop/Notifications"),
                          text("org.freedesktop.Notifications"));
    const QDBusReply<uint> reply =
        server.call(text("Notify"), text("mail"), 0U, QString(), text("New mail"), QString(),
                    QStringList(), QVariantMap(), -1);
    QCOMPARE(reply.value(), id);
    QVERIFY(publishSummary(text("two"), id) != id);
    kept[0]->close();
    QCOMPARE(shown().size(), 2);
    QCOMPARE(summaries(), QStringList(text("two")));
}

void TstNotification::tapMakesTheRemoteCall()
{
    struct Row
    {
        const char *publisher; // the mode of another process; empty: this one
        const char *action;
        int calls;
    };
    const Row rows[] = {{"", "default", 1},
                        {"publish", "default", 1},
                        {"", "settings", 0},
                        {"publish-as-another", "default", 0}};
    for (const Row &row : rows) {
        init();
        if (*row.publisher)
            QCOMPARE(runSelf({text(row.publisher)}), EXIT_SUCCESS);
        else
            publishSummary(text("one"));
        QCOMPARE(shown().size(), 1);
        static_cast<void>(Notification::notifications());
        m_services.command(
            text("notification-action"),
            {{text("id"), shown().at(0)[QLatin1String("id")]}, {text("action"), text(row.action)}});
        // A second one, whose call comes last, shows that the first has had its time.
        Notification last;
        fill(last);
        last.setRemoteDBusCallArguments({text("last")});
        last.publish();
        m_services.command(text("notification-action"), {{text("id"), int(last.replacesId())}});
        const QString call = text("launcher.updatingFinished");
        QVERIFY(!m_services
                     .waitFor([&call](const QJsonObject &entry) {
                         return entry[QLatin1String("kind")].toString() == call
                             && entry[QLatin1String("arguments")].toArray().contains(text("last"));
                     })
                     .isEmpty());
        QCOMPARE(m_services.entries(call).size(), row.calls + 1);
    }
}

void TstNotification::isNotRecordedWhenRefused()
{
    m_services.command("error", R"({"method": "notification.notify"})");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(text("Could not publish")));
    QCOMPARE(publishSummary(text("one")), 0U);
    QVERIFY(Notification::notifications().isEmpty());
}

void TstNotification::survivesABrokenRecord()
{
    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation));
    const QString pattern = QCoreApplication::applicationName() + QLatin1Char('*');
    // Cut at the start, in its head and in an entry, and other bytes altogether.
    for (const int length : {0, 6, 150, -1}) {
        init();
        publishSummary(text("one"));
        const QStringList files = folder.entryList({pattern}, QDir::Files);
        QCOMPARE(files.size(), 1);
        QFile file(folder.filePath(files[0]));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.size() > 150);
        QVERIFY(length < 0 ? file.write(QByteArray(500, '\xff')) == 500 : file.resize(length));
        file.close();

        QVERIFY(Notification::notifications().isEmpty());
        publishSummary(text("two"));
        QCOMPARE(summaries(), QStringList(text("two")));
    }
}

void TstNotification::doesNothingWithoutABus()
{
    QCOMPARE(runSelfWithoutBus({text("without-bus")}), EXIT_SUCCESS);
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QString mode = QCoreApplication::arguments().value(1);
    if (mode == QLatin1String("publish-as-another"))
        QCoreApplication::setApplicationName(text("another"));
    if (mode.startsWith(QLatin1String("publish"))) {
        Notification notification;
        fill(notification);
        notification.publish();
        return notification.replacesId() > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (mode == QLatin1String("without-bus")) {
        const uint id = publishSummary(text("one"), 5);
        Notification().close();
        return id == 5 && Notification::notifications().isEmpty() ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    TstNotification test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_notification.moc"
