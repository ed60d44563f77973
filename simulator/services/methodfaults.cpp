#include "methodfaults.h"

QJsonObject MethodFaults::set(const QJsonObject &arguments)
{
    const QString method = arguments[QLatin1String("method")].toString();
    if (method.isEmpty())
        return {{QStringLiteral("error"), QStringLiteral("\"method\" is missing")}};
    MethodFault fault;
    fault.delay = std::chrono::milliseconds(arguments[QLatin1String("ms")].toInt());
    fault.hang = arguments[QLatin1String("hang")].toBool();
    fault.errorName = arguments[QLatin1String("error")].toString();
    fault.errorText = arguments[QLatin1String("text")].toString();
    fault.times = arguments[QLatin1String("times")].toInt();
    m_faults.remove(method);
    if (fault.hang || fault.delay.count() > 0 || !fault.errorName.isEmpty())
        m_faults.insert(method, fault);
    return {};
}

void MethodFaults::clear()
{
    m_faults.clear();
}

std::optional<MethodFault> MethodFaults::take(const QString &method)
{
    const auto fault = m_faults.find(method);
    if (fault == m_faults.end())
        return std::nullopt;
    const MethodFault taken = *fault;
    if (fault->times > 0 && --fault->times == 0)
        m_faults.erase(fault);
    return taken;
}
