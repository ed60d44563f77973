#include "handlerjournal.h"

#include <QCoreApplication>
#include <QQmlEngine>
#include <QTest>

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
    return m_manager->find(name);
}

ScriptedTransaction *HandlerTest::find(const char *name) const
{
    return m_manager->find(text(name));
}

MissingRepositoriesText::MissingRepositoriesText()
{
    QCoreApplication::installTranslator(this);
}

MissingRepositoriesText::~MissingRepositoriesText()
{
    QCoreApplication::removeTranslator(this);
}

QString MissingRepositoriesText::translate(const char *, const char *sourceText, const char *,
                                           int) const
{
    return qstrcmp(sourceText, "orvik-store-no-error_repositories_missing") == 0
        ? text("missing: %1")
        : QString();
}
