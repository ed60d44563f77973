#pragma once

#include "orvikstore.h"
#include "packagehandler.h"
#include "scriptedmanager.h"
#include "simulatorclient.h"
#include "storeimageprovider.h"
#include "text.h"

#include <QJsonObject>
#include <QObject>
#include <QStringList>

#include <memory>

/**
 * What models stand on: the phone's store as after its start, a facade connected to it, and
 * a package handler whose transactions the test moves.
 */
class StorePhone
{
public:
    StorePhone();
    ~StorePhone();

    /** Brings the facade to Ready, in place of an earlier one. */
    void connectFacade();

    /** Sends the store @p verb with arguments in JSON. */
    QJsonObject tell(const char *verb, const QByteArray &arguments = "{}");
    /** Offers an application with keys in JSON. @return its uuid */
    QString offer(const QString &package, const QByteArray &keys);
    /** Offers the five applications "demo-…" that lists are shown with. */
    void offerDemo();

    /** Requests to paths that begin with @p path: method, path, query without the device. */
    [[nodiscard]] QStringList requests(const QString &path);

    /** The device has these packages: names with versions, with ", " between them. */
    void install(const char *packages);
    [[nodiscard]] ScriptedTransaction *job(const char *name) const;

    SimulatorClient store{QStringLiteral("Store")};
    std::unique_ptr<OrvikStore> facade;
    QStringList journal; // of the package manager
    ScriptedManager *manager; // the handler's, and gone with it
    std::unique_ptr<PackageHandler> packager;

private:
    MadeTransactions m_made;
    StoreImageProvider m_images;
};

/** Notes the signals of an object in their order: "count" for countChanged(), "modelReset". */
class SignalJournal : public QObject
{
    Q_OBJECT

public:
    explicit SignalJournal(const QObject *object);

    /** What has come since last time, with blanks between. */
    QString take();

private Q_SLOTS:
    void note();

private:
    QStringList m_names;
};
