#include "handlerjournal.h"

#include <QCoreApplication>
#include <QQmlEngine>
#include <QTest>

#include <functional>

HandlerJournal::HandlerJournal()
    : m_engine(std::make_unique<QJSEngine>())
{
    QQmlEngine::setObjectOwnership(this, QQmlEngine::CppOwnership);
    m_engine->globalObject().setProperty(text("journal"), m_engine->newQObject(this));
}

HandlerJournal::~HandlerJournal() = default;

void HandlerJournal::follow(PackageHandler *handler)
{
    using H = PackageHandler;
    const auto sentence = [this](const char *kind, const QVariantList &words) {
        QStringList texts(text(kind));
        for (const QVariant &word : words) {
            const bool isList = word.userType() == QMetaType::QStringList;
            texts.append(isList ? word.toStringList().join(QLatin1Char(',')) : word.toString());
        }
        note(texts.join(QLatin1Char(' ')));
    };
    const auto on = [=](auto signal, const char *kind, auto words) {
        connect(handler, signal, this,
                [=](const auto &...arguments) { sentence(kind, words(arguments...)); });
    };
    const auto arguments = [](const auto &...each) { return QVariantList{each...}; };

    on(&H::checkInstalledResult, "installed", arguments);
    on(&H::packageFilesReceived, "files", arguments);
    on(&H::progressChanged, "progress", arguments);
    on(&H::packageNameResult, "name", arguments);
    on(&H::error, "error", arguments);
    on(&H::packageError, "package-error", arguments);
    on(&H::sideloadingError, "sideload-error", arguments);
    on(&H::sideLoadingFinished, "sideload", arguments);
    on(&H::installFailed, "install-failed", arguments);
    on(&H::osUpdateResult, "upgrade-result", arguments);
    on(&H::osUpdateSize, "os-size", arguments);
    on(&H::distUpgradeStatusChanged, "upgrade-status",
       [=] { return QVariantList{int(handler->distUpgradeStatus())}; });
    on(&H::upgradeProgressChanged, "upgrade-progress",
       [=] { return QVariantList{handler->upgradeProgress()}; });
    on(&H::packagesCountChanged, "count", [=] { return QVariantList{handler->packagesCount()}; });
    on(&H::packageStatusChanged, "status", [=](const QString &package) {
        return QVariantList{package, handler->packageStatus(package)};
    });
    on(&H::packageInfoReceived, "info", [](const QVariantMap &info) { return info.values(); });
    on(&H::osUpdateInfo, "os-info", [](const OsInfo &info) {
        return QVariantList{
            info.version,    info.summary,    info.downloadSize,         info.installSize,
            info.removeSize, info.downloaded, info.lastChecked.isValid()};
    });
}

QJSValue HandlerJournal::callback(const char *name)
{
    return m_engine->evaluate(
        text("(function(ok) { journal.note('callback %1 ' + ok); })").arg(text(name)));
}

void HandlerJournal::dropEngine()
{
    m_engine.reset();
}

void HandlerJournal::note(const QString &entry)
{
    entries.append(entry);
}

QString HandlerJournal::take()
{
    return std::exchange(entries, {}).join(text("; "));
}

void HandlerTest::init()
{
    m_journal = std::make_unique<HandlerJournal>();
    m_manager = new ScriptedManager(&m_journal->entries); // the handler's
    m_made = m_manager->made;
    m_handler = std::make_unique<PackageHandler>(m_manager, nullptr);
    m_journal->follow(m_handler.get());
}

void HandlerTest::cleanup()
{
    m_handler.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(deleteStarted(m_made), QStringList());
}

ScriptedTransaction *HandlerTest::find(const QString &name) const
{
    for (auto it = m_made->crbegin(); it != m_made->crend(); ++it) {
        if (*it && (*it)->isStarted && (*it)->name == name)
            return *it;
    }
    return m_manager->find(name);
}

void HandlerTest::play(const QString &script)
{
    PackageHandler *handler = m_handler.get();
    const QHash<QString, std::function<void(const QString &)>> acts{
        {text("install"), [=](const QString &package) { handler->install(package); }},
        {text("remove"), [=](const QString &package) { handler->uninstall(package, false); }},
        {text("autoremove"), [=](const QString &package) { handler->uninstall(package, true); }},
        {text("remove-launcher"), [=](const QString &f) { handler->uninstallByDesktopFile(f); }},
        {text("list"), [=](const QString &) { handler->refreshPackages(); }},
        {text("ask"), [=](const QString &package) { handler->checkInstalled(package); }},
        {text("files"), [=](const QString &package) { handler->packageFiles(package); }},
        {text("info"), [=](const QString &file) { handler->packageInfo(file); }},
        {text("name"), [=](const QString &file) { handler->resolvePackageName(file); }},
        {text("check"), [=](const QString &) { handler->checkForOsUpdate(false); }},
        {text("size"), [=](const QString &version) { handler->getOsUpdateSize(version); }},
        {text("download"), [=](const QString &version) { handler->downloadOsUpdate(version); }},
        {text("upgrade"), [=](const QString &version) { handler->installOsUpdate(version); }},
        {text("mark"), [=](const QString &value) { handler->setUpgradeProgress(value.toInt()); }},
        {text("call-off"), [=](const QString &package) { handler->cancelPending(package); }},
        {text("foreign"), [=](const QString &) { m_manager->packageManagerForeignRequested(); }},
        {text("idle"), [=](const QString &) { m_manager->packageManagerIdle(); }},
        {text("listed"),
         [=](const QString &package) {
             find("list")->list->add({package, text("1-1"), {}});
         }},
        {text("succeed"), [=](const QString &name) { find(name)->succeed(); }},
        {text("progress"),
         [=](const QString &words) {
             const int value = words.section(QLatin1Char(' '), 0, 0).toInt();
             find(words.section(QLatin1Char(' '), 1))->progress(value);
         }},
        {text("fail"),
         [=](const QString &words) {
             find(words.section(text(": "), 0, 0))->fail(words.section(text(": "), 1));
         }},
        {text("end"), [=](const QString &name) { find(name)->finish(); }},
        // It tells so, and is still there.
        {text("cancelled"), [=](const QString &name) { find(name)->failure(text("cancelled")); }},
        {text("linger"), [=](const QString &name) { find(name)->endsOnCancel = false; }},
        {text("vanish"), [=](const QString &name) { delete find(name); }},
        {text("at-error"),
         [=](const QString &act) {
             connect(handler, &PackageHandler::error, this, [=] { play(act); });
         }},
    };
    for (const QString &act : script.split(text(", "), Qt::SkipEmptyParts)) {
        const QString verb = act.section(QLatin1Char(' '), 0, 0);
        if (!acts.contains(verb))
            QFAIL(qPrintable(text("no such act: ") + verb));
        acts.value(verb)(act.section(QLatin1Char(' '), 1));
    }
}
