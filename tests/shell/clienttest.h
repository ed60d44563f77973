#pragma once

#include "logcapture.h"
#include "servicebus.h"
#include "simulatorclient.h"

#include <QObject>
#include <QStringList>

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

/** What tests of the client object share: it lives in their process, which is the service. */
class ClientTest : public QObject
{
    Q_OBJECT

protected:
    ClientTest();
    ~ClientTest() override;

    /** The phone as after its start, scenes of ours, an empty cache folder. */
    void resetPhone();
    void makeClient(const QStringList &arguments = {});
    /** Makes the scene if there is none, finds the objects, waits for the package list. */
    void openScene();
    void goReady();
    /** Ends the client and closes its window. */
    void endClient();

    /** The one for inactivity. */
    [[nodiscard]] QTimer *timer() const;
    [[nodiscard]] QObject *root() const;
    /** Calls a slot of the client. */
    template <typename... Arguments>
    void call(const char *slot, Arguments... arguments)
    {
        if (!QMetaObject::invokeMethod(client(), slot, Qt::DirectConnection, arguments...))
            qFatal("no slot %s", slot);
    }

    SimulatorClient m_services{QStringLiteral("Services")};
    SimulatorClient m_storeSimulator{QStringLiteral("Store")};
    SimulatorClient m_packageKit{QStringLiteral("PackageKit")};
    QQuickView *m_view;
    std::unique_ptr<KioskClient> m_client;
    DBusConnector *m_connector = nullptr;
    Service *m_service = nullptr;
    OrvikStore *m_store = nullptr; // this and the next two from openScene() on
    PackageHandler *m_handler = nullptr;
    ContentModel *m_installed = nullptr;

private:
    [[nodiscard]] QObject *client() const;
    template <typename T>
    [[nodiscard]] T *contextObject(const char *name) const;
};

/** The application as the program makes it, with the English texts, around one test. */
int runClientTest(const std::function<std::unique_ptr<QObject>()> &makeTest, int argc,
                  char *argv[]);
