#pragma once

#include "packagehandler.h"
#include "scriptedmanager.h"
#include "text.h"

#include <QJSEngine>
#include <QJSValue>
#include <QObject>
#include <QStringList>

#include <memory>

/** Notes every signal of a package handler, and calls of scene callbacks, in their order. */
class HandlerJournal : public QObject
{
    Q_OBJECT

public:
    HandlerJournal();
    ~HandlerJournal() override;

    void follow(PackageHandler *handler);

    /** A callback of the scene that is noted as "callback NAME RESULT". */
    [[nodiscard]] QJSValue callback(const char *name);
    /** The scene goes away, and its callbacks with it. */
    void dropEngine();

    Q_INVOKABLE void note(const QString &entry);

    /** The entries since the last call, with "; " between them. */
    [[nodiscard]] QString take();

    QStringList entries;

private:
    std::unique_ptr<QJSEngine> m_engine;
};

/** What tests of a package handler have for each of their functions. */
class HandlerTest : public QObject
{
    Q_OBJECT

protected Q_SLOTS:
    void init();
    void cleanup();

protected:
    /** The newest transaction of that name which has been started, or else the newest. */
    [[nodiscard]] ScriptedTransaction *find(const QString &name) const;
    [[nodiscard]] ScriptedTransaction *find(const char *name) const { return find(text(name)); }
    /**
     * Does one thing after another, such as "install a, list, succeed install a": requests,
     * the daemon's news ("foreign", "idle") and what becomes of transactions ("progress 9 list",
     * "fail list: details").
     */
    void play(const QString &script);

    std::unique_ptr<HandlerJournal> m_journal;
    std::unique_ptr<PackageHandler> m_handler;
    ScriptedManager *m_manager = nullptr; // the handler's

private:
    MadeTransactions m_made; // by the manager
};
