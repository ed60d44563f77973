#include "faults.h"

#include <QMetaEnum>

namespace {

Fault parse(const QJsonObject &object)
{
    Fault fault;
    fault.reject = object[QLatin1String("reject")].toString();
    fault.die = object[QLatin1String("die")].toString();
    fault.at = object[QLatin1String("at")].toString(QStringLiteral("start"));
    if (object.contains(QLatin1String("error")))
        fault.error = uint(object[QLatin1String("error")].toInt());
    if (object.contains(QLatin1String("exit")))
        fault.exit = uint(object[QLatin1String("exit")].toInt());
    fault.text = object[QLatin1String("text")].toString();
    fault.hang = object[QLatin1String("hang")].toBool();
    fault.ms = object[QLatin1String("ms")].toInt(-1);
    fault.canned = object[QLatin1String("canned")].toBool();
    fault.late = object[QLatin1String("late")].toArray();
    const QJsonArray percentages = object[QLatin1String("percentages")].toArray();
    for (const QJsonValue &percentage : percentages)
        fault.percentages.append(uint(percentage.toInt()));
    const QJsonArray packages = object[QLatin1String("packages")].toArray();
    for (const QJsonValue &package : packages) {
        const QJsonArray row = package.toArray();
        fault.packages.append(
            {Transaction::Info(row.at(0).toInt()), row.at(1).toString(), row.at(2).toString()});
    }
    return fault;
}

} // namespace

std::optional<Role> Faults::roleFor(const QJsonValue &text)
{
    if (text.isDouble())
        return Role(text.toInt());
    static const QHash<QString, QString> methods{
        {QStringLiteral("SearchFiles"), QStringLiteral("SearchFile")},
        {QStringLiteral("SearchNames"), QStringLiteral("SearchName")}};
    const QString name = methods.value(text.toString(), text.toString());
    bool known = false;
    const int role = QMetaEnum::fromType<Transaction::Role>().keyToValue(
        qPrintable(QStringLiteral("Role") + name), &known);
    return known ? std::make_optional(Role(role)) : std::nullopt;
}

bool Faults::add(const QJsonObject &fault)
{
    const QJsonValue role = fault[QLatin1String("role")];
    if (role.toString() != QLatin1String("*") && !roleFor(role))
        return false;
    m_waiting.append(fault);
    return true;
}

Fault Faults::take(Role role)
{
    for (int i = 0; i < m_waiting.size(); ++i) {
        QJsonObject object = m_waiting[i].toObject();
        const QJsonValue wanted = object[QLatin1String("role")];
        if (wanted.toString() != QLatin1String("*") && roleFor(wanted) != role)
            continue;
        const int skip = object[QLatin1String("skip")].toInt(0);
        if (skip > 0) {
            object[QLatin1String("skip")] = skip - 1;
            m_waiting[i] = object;
            return {};
        }
        const int times = object[QLatin1String("times")].toInt(1);
        if (times == 1) {
            m_waiting.removeAt(i);
        } else if (times > 1) {
            object[QLatin1String("times")] = times - 1;
            m_waiting[i] = object;
        }
        return parse(object);
    }
    return {};
}
