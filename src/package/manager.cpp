#include "manager.h"

namespace Package {

Manager::Manager(QObject *parent)
    : QObject(parent)
{ }

Manager::~Manager() = default;

void Manager::PackageList::clear()
{
    m_sealed = false;
    m_entries.clear();
}

void Manager::PackageList::seal()
{
    m_sealed = true;
}

void Manager::PackageList::add(const PackageListEntry &entry)
{
    if (!m_sealed)
        m_entries.append(entry);
}

const QList<Manager::PackageListEntry> &Manager::PackageList::entries() const
{
    return m_entries;
}

} // namespace Package
