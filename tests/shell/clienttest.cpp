#include "clienttest.h"

#include "cachedirectory.h"
#include "contentmodel.h"
#include "dbusconnector.h"
#include "kioskclient.h"
#include "mdeclarativecache.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "scenefile.h"
#include "service.h"

#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>
#include <QTimer>
#include <QTranslator>

ClientTest::ClientTest()
    : m_view(MDeclarativeCache::qQuickView())
{ }

ClientTest::~ClientTest() = default;

void ClientTest::resetPhone()
{
    for (SimulatorClient *simulator : {&m_services, &m_storeSimulator, &m_packageKit})
        simulator->command(QStringLiteral("reset"));
    m_view->engine()->clearComponentCache();
    QVERIFY(SceneFile::writeMain());
    cacheDirectory().removeRecursively();
    QVERIFY(cacheDirectory().mkpath(QStringLiteral(".")));
}

void ClientTest::makeClient(const QStringList &arguments)
{
    m_client = std::make_unique<KioskClient>(arguments);
    QVERIFY(m_client->hasService());
    m_connector = m_client->findChild<DBusConnector *>();
    m_service = m_client->findChild<Service *>();
}

void ClientTest::openScene()
{
    call("slotCreateUi");
    m_store = contextObject<OrvikStore>("orvikStore");
    m_handler = contextObject<PackageHandler>("packageHandler");
    m_installed = contextObject<ContentModel>("installedModel");
    QVERIFY(m_store && m_handler && m_installed);
    QTRY_VERIFY(m_handler->packagesCount() > 0 && !m_handler->isBusy());
}

void ClientTest::goReady()
{
    QTRY_VERIFY(m_store->isOnline());
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(m_store->connectionState(), OrvikStore::Ready, 20000);
}

void ClientTest::endClient()
{
    m_client.reset();
    m_view->close();
}

QTimer *ClientTest::timer() const
{
    return m_client->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
}

QObject *ClientTest::root() const
{
    return m_view->rootObject();
}

QObject *ClientTest::client() const
{
    return m_client.get();
}

template <typename T>
T *ClientTest::contextObject(const char *name) const
{
    const QVariant value = m_view->rootContext()->contextProperty(QLatin1String(name));
    return qobject_cast<T *>(value.value<QObject *>());
}

int runClientTest(const std::function<std::unique_ptr<QObject>()> &makeTest, int argc, char *argv[])
{
    const std::unique_ptr<QGuiApplication> application(MDeclarativeCache::qApplication(argc, argv));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QTranslator english;
    if (english.load(QStringLiteral("/usr/share/translations/orvik-store_eng_en")))
        QCoreApplication::installTranslator(&english);
    return QTest::qExec(makeTest().get(), argc, argv);
}
