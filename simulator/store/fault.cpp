#include "fault.h"

#include <QJsonDocument>
#include <QMutexLocker>

namespace {

constexpr struct
{
    const char *name;
    Fault::Kind kind;
} kinds[] = {
    {"status", Fault::Kind::Status},
    {"delay", Fault::Kind::Delay},
    {"cut", Fault::Kind::Cut},
    {"reset", Fault::Kind::Reset},
    {"endless", Fault::Kind::Endless},
    {"type", Fault::Kind::Type},
    {"error_message", Fault::Kind::ErrorMessage},
    {"body", Fault::Kind::Body},
    {"hang", Fault::Kind::Hang},
    {"page-loop", Fault::Kind::PageLoop},
};

} // namespace

bool Fault::replacesAnswer() const
{
    return kind == Kind::Status || kind == Kind::Body || kind == Kind::ErrorMessage
        || kind == Kind::Endless || early;
}

QString Fault::name(Kind kind)
{
    for (const auto &known : kinds) {
        if (known.kind == kind)
            return QLatin1String(known.name);
    }
    return {};
}

QString FaultList::add(const QJsonObject &description)
{
    const auto text = [&description](const char *key) {
        return description[QLatin1String(key)].toString();
    };
    const auto number = [&description](const char *key, int otherwise) {
        return description[QLatin1String(key)].toInt(otherwise);
    };
    Entry entry;
    Fault &fault = entry.fault;
    for (const auto &known : kinds) {
        if (text("do") == QLatin1String(known.name))
            fault.kind = known.kind;
    }
    if (fault.kind == Fault::Kind::None)
        return QStringLiteral("\"do\" names no fault: \"%1\"").arg(text("do"));
    entry.prefix = text("path");
    entry.isPattern = entry.prefix.startsWith(QLatin1Char('^'));
    if (entry.isPattern) {
        entry.pattern.setPattern(entry.prefix);
        if (!entry.pattern.isValid())
            return QStringLiteral("\"path\": ") + entry.pattern.errorString();
    }
    entry.method = text("method");
    entry.times = number("times", -1);
    entry.skip = number("skip", 0);
    fault.status = number("status", fault.kind == Fault::Kind::Status ? 500 : 200);
    fault.delay = number("ms", 0);
    fault.bytes = number("bytes", -1);
    fault.early = (fault.kind == Fault::Kind::Reset || fault.kind == Fault::Kind::Hang)
        && text("when") != QLatin1String("after");
    fault.body = description.contains(QLatin1String("base64"))
        ? QByteArray::fromBase64(text("base64").toLatin1())
        : text("body").toUtf8();
    fault.type = text("type").toLatin1();
    if (fault.kind == Fault::Kind::Type && fault.type.isEmpty())
        fault.type = "application/octet-stream";
    fault.next = text("next");
    if (fault.kind == Fault::Kind::ErrorMessage) {
        const QString message = QStringLiteral("error_message");
        const QString traceback = QStringLiteral("traceback");
        fault.body =
            QJsonDocument(
                QJsonObject{{message, description[message].toString(QStringLiteral("Sorry."))},
                            {traceback, description[traceback].toString(QStringLiteral("line 1"))}})
                .toJson(QJsonDocument::Compact);
    }
    const QMutexLocker lock(&m_mutex);
    m_entries.prepend(entry);
    return {};
}

void FaultList::clear()
{
    const QMutexLocker lock(&m_mutex);
    m_entries.clear();
    ++m_generation;
}

Fault FaultList::take(const QString &method, const QString &target)
{
    const QMutexLocker lock(&m_mutex);
    for (Entry &entry : m_entries) {
        const bool path = entry.isPattern ? entry.pattern.match(target).hasMatch()
                                          : target.startsWith(entry.prefix);
        if (!path || (!entry.method.isEmpty() && entry.method != method) || entry.times == 0)
            continue;
        if (entry.skip > 0) {
            --entry.skip;
            continue;
        }
        if (entry.times > 0)
            --entry.times;
        return entry.fault;
    }
    return {};
}

int FaultList::generation()
{
    const QMutexLocker lock(&m_mutex);
    return m_generation;
}
