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

#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTimer>
#include <QTranslator>

ClientTest::ClientTest()
    : m_view(MDeclarativeCache::qQuickView())
{ }

ClientTest::~ClientTest() = default;

void ClientTest::init()
{
    m_log = std::make_unique<LogCapture>();
    m_services.command(text("reset"));
    m_storeSimulator.command(text("reset"));
    m_packageKit.reset();
    m_view->engine()->clearComponentCache();
    QVERIFY(SceneFile::writeMain());
    cacheDirectory().removeRecursively();
    QVERIFY(cacheDirectory().mkpath(text(".")));
}

void ClientTest::cleanup()
{
    m_client.reset();
    m_view->close();
    const QStringList lines = LogCapture::lines();
    m_log.reset();
    if (QTest::currentTestFailed())
        qInfo().noquote() << lines.join(QLatin1Char('\n'));
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
    makeClient();
    call("slotCreateUi");
    m_store = contextObject<OrvikStore>("orvikStore");
    m_handler = contextObject<PackageHandler>("packageHandler");
    m_installed = contextObject<ContentModel>("installedModel");
    QTRY_VERIFY(m_handler->packagesCount() > 0 && !m_handler->isBusy());
}

void ClientTest::goReady()
{
    QTRY_VERIFY(m_store->isOnline());
    m_store->tryConnect();
    QTRY_COMPARE_WITH_TIMEOUT(m_store->connectionState(), OrvikStore::Ready, 20000);
}

QTimer *ClientTest::timer() const
{
    return m_client->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
}

QObject *ClientTest::root() const
{
    return m_view->rootObject();
}

QString ClientTest::known(const QString &package, const QString &title)
{
    Store::Application app;
    app.valid = true;
    app.uuid = text("uuid-") + package;
    app.packageName = package;
    app.title = title;
    app.version = text("99");
    m_store->addApplication(QSharedPointer<const Store::Application>::create(app));
    return app.uuid;
}

QObject *ClientTest::client() const
{
    return m_client.get();
}

QObject *ClientTest::contextObject(const char *name) const
{
    return m_view->rootContext()->contextProperty(QLatin1String(name)).value<QObject *>();
}

std::unique_ptr<QGuiApplication> makeClientApplication(int &argc, char *argv[])
{
    std::unique_ptr<QGuiApplication> application(MDeclarativeCache::qApplication(argc, argv));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    auto *english = new QTranslator(application.get());
    if (english->load(text("/usr/share/translations/orvik-store_eng_en")))
        QCoreApplication::installTranslator(english);
    return application;
}
