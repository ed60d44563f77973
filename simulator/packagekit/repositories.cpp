#include "repositories.h"

#include <QJsonObject>

#include <algorithm>

namespace {

enum Modification { Add = 1, Remove = 2, Enable = 3, Disable = 4 };

template <typename List>
auto find(List &list, const QString &id)
{
    return std::find_if(list.begin(), list.end(),
                        [&id](const Repository &repository) { return repository.id == id; });
}

} // namespace

Repositories::Repositories()
    : m_all{
        {QStringLiteral("branwick"), QStringLiteral("Branwick OS"), true},
        {QStringLiteral("hotfixes"), QStringLiteral("Corrections between releases"), true},
        {QStringLiteral("adaptation"), QStringLiteral("Drivers of this device"), true},
        {QStringLiteral("store"), QStringLiteral("The store's applications"), true},
        {QStringLiteral("oss"), QStringLiteral("Free software"), true},
        {QStringLiteral("non-oss"), QStringLiteral("Other software"), true},
        {QStringLiteral("user-extra"), QStringLiteral("Added by the user"), true},
        {QStringLiteral("nightly"), QStringLiteral("Not for every day"), false},
    }
{ }

bool Repositories::contains(const QString &id) const
{
    return find(m_all, id) != m_all.end();
}

bool Repositories::isEnabled(const QString &id) const
{
    const auto repository = find(m_all, id);
    return repository != m_all.end() && repository->enabled;
}

bool Repositories::setEnabled(const QString &id, bool enabled)
{
    const auto repository = find(m_all, id);
    if (repository == m_all.end())
        return false;
    repository->enabled = enabled;
    return true;
}

void Repositories::modify(int action, const QString &id)
{
    m_modifications.append({action, id});
}

void Repositories::applyModifications()
{
    for (const auto &[action, id] : qAsConst(m_modifications)) {
        const auto repository = find(m_all, id);
        if (action == Add && repository == m_all.end())
            m_all.append({id, id, false});
        else if (action == Remove && repository != m_all.end())
            m_all.erase(repository);
        else if (action == Enable || action == Disable)
            setEnabled(id, action == Enable);
    }
    m_modifications.clear();
}

QJsonArray Repositories::toJson() const
{
    QJsonArray list;
    for (const Repository &repository : m_all) {
        list.append(QJsonObject{{QStringLiteral("id"), repository.id},
                                {QStringLiteral("description"), repository.description},
                                {QStringLiteral("enabled"), repository.enabled}});
    }
    return list;
}

void Repositories::restore(const QJsonArray &stored)
{
    m_all.clear();
    for (const QJsonValue &value : stored) {
        const QJsonObject repository = value.toObject();
        m_all.append({repository[QLatin1String("id")].toString(),
                      repository[QLatin1String("description")].toString(),
                      repository[QLatin1String("enabled")].toBool()});
    }
}
