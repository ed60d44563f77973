#pragma once

#include "logcapture.h"
#include "packagephone.h"

#include <QGuiApplication>
#include <QObject>
#include <QStringList>
#include <QTest>

#include <functional>
#include <memory>

class ContentModel;
class DBusConnector;
class KioskClient;
class OrvikStore;
class PackageHandler;
class QQuickView;
class QTimer;
class Service;

/** What a row of a table does to the client. */
using Deed = std::function<void()>;
Q_DECLARE_METATYPE(Deed)

/** What tests of the client object share: it lives in their process, which is the service. */
class ClientTest : public QObject
{
    Q_OBJECT

protected:
    ClientTest();
    ~ClientTest() override;

    void makeClient(const QStringList &arguments = {});
    /** makeClient(), makes the scene, finds the objects, waits for the package list. */
    void openScene();
    void goReady();

    /** The one for inactivity. */
    [[nodiscard]] QTimer *timer() const;
    [[nodiscard]] QObject *root() const;
    template <typename T>
    [[nodiscard]] T *contextObject(const char *name) const
    {
        return qobject_cast<T *>(contextObject(name));
    }
    /** Calls a slot of the client. */
    template <typename... Arguments>
    void call(const char *slot, Arguments... arguments)
    {
        QVERIFY(QMetaObject::invokeMethod(client(), slot, Qt::DirectConnection, arguments...));
    }
    /** Makes the store know an application with something newer. @return its uuid. */
    QString known(const QString &package, const QString &title);
    /** How many lines of the log hold @p part. */
    [[nodiscard]] static int logged(const char *part) { return LogCapture::lines(part).size(); }

    SimulatorClient m_services{QStringLiteral("Services")};
    SimulatorClient m_storeSimulator{QStringLiteral("Store")};
    PackagePhone m_packageKit;
    QQuickView *m_view;
    std::unique_ptr<KioskClient> m_client;
    DBusConnector *m_connector = nullptr;
    Service *m_service = nullptr;
    OrvikStore *m_store = nullptr; // this and the next two from openScene() on
    PackageHandler *m_handler = nullptr;
    ContentModel *m_installed = nullptr;

protected Q_SLOTS:
    /** The phone as after its start, scenes of ours, an empty cache folder. */
    void init();
    /** Ends the client and closes its window. */
    void cleanup();

private:
    [[nodiscard]] QObject *client() const;
    [[nodiscard]] QObject *contextObject(const char *name) const;

    std::unique_ptr<LogCapture> m_log;
};

/** The application as the program makes it, with the English texts. */
[[nodiscard]] std::unique_ptr<QGuiApplication> makeClientApplication(int &argc, char *argv[]);

template <typename Test>
int runClientTest(int argc, char *argv[])
{
    const auto application = makeClientApplication(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}
