#include "simulatorcontrol.h"

#include <QDateTime>
#include <QDBusConnection>
#include <QDBusError>
#include <QJsonDocument>
#include <QTextStream>

namespace {

QString toText(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace

SimulatorControl::SimulatorControl(const QString &part, QObject *parent)
    : QObject(parent)
    , m_part(part)
{
    handle(QStringLiteral("log"), [this](const QJsonObject &arguments) {
        return QJsonObject{
            {QStringLiteral("entries"), entries(arguments[QLatin1String("kind")].toString())}};
    });
    handle(QStringLiteral("clear-log"), [this](const QJsonObject &) {
        m_entries = {};
        return QJsonObject();
    });
    handle(QStringLiteral("verbs"), [this](const QJsonObject &) {
        QStringList verbs = m_handlers.keys();
        verbs.sort();
        return QJsonObject{{QStringLiteral("verbs"), QJsonArray::fromStringList(verbs)}};
    });
}

void SimulatorControl::handle(const QString &verb, const Handler &handler)
{
    m_handlers.insert(verb, handler);
}

bool SimulatorControl::publish()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    const QString name = QStringLiteral("org.kiosk.Simulator.") + m_part;
    if (bus.registerObject(QStringLiteral("/org/kiosk/Simulator"), this,
                           QDBusConnection::ExportScriptableContents)
        && bus.registerService(name))
        return true;
    QTextStream(stderr) << "could not publish " << name << ": " << bus.lastError().message()
                        << '\n';
    return false;
}

void SimulatorControl::record(QJsonObject entry)
{
    entry.insert(QStringLiteral("n"), m_next++);
    entry.insert(QStringLiteral("ms"), QDateTime::currentMSecsSinceEpoch());
    m_entries.append(entry);
    Q_EMIT Recorded(toText(entry));
}

QJsonArray SimulatorControl::entries(const QString &kind) const
{
    if (kind.isEmpty())
        return m_entries;
    QJsonArray chosen;
    for (const QJsonValue &entry : m_entries) {
        if (entry.toObject()[QLatin1String("kind")].toString() == kind)
            chosen.append(entry);
    }
    return chosen;
}

QString SimulatorControl::Command(const QString &verb, const QString &arguments)
{
    const QJsonDocument document = QJsonDocument::fromJson(arguments.toUtf8());
    const auto handler = m_handlers.constFind(verb);
    if (handler == m_handlers.constEnd() || (!arguments.isEmpty() && !document.isObject())) {
        const QString problem = handler == m_handlers.constEnd()
            ? QStringLiteral("unknown verb \"%1\"; \"verbs\" lists them").arg(verb)
            : QStringLiteral("the arguments are no JSON object: %1").arg(arguments);
        return toText({{QStringLiteral("error"), problem}});
    }
    return toText((*handler)(document.object()));
}
