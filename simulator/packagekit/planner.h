#pragma once

#include "phonepackages.h"
#include "plan.h"

#include <QVariantList>

/** How long things take, in milliseconds. */
struct Timing
{
    int download = 300;
    int install = 150;
    int remove = 100;
    int refresh = 100;
    int upgradeDownload = 3000;
    int upgradeInstall = 1500;
    int destroy = 5000; ///< from the end of a transaction to its Destroy
};

/** Turns a transaction's role and arguments into what the phone does about it. */
class Planner final
{
public:
    Planner(PhonePackages &phone, const Timing &timing);

    /**
     * @param arguments of the D-Bus method that has started the transaction.
     * @return what to do, one phase at least. To be asked when the transaction's turn has
     * come, since it looks at the phone as it is then.
     */
    [[nodiscard]] Plan plan(Role role, const QVariantList &arguments) const;

private:
    using Work = std::function<Outcome(PlanOutput &)>;

    [[nodiscard]] Work query(Role role, const QVariantList &arguments) const;
    [[nodiscard]] Plan repoEnable(const QString &id, bool enabled) const;
    [[nodiscard]] Plan repoSetData(const QString &id, const QString &key,
                                   const QString &value) const;
    [[nodiscard]] Plan install(Role role, quint64 flags, const QStringList &ids) const;
    [[nodiscard]] Plan installFiles(quint64 flags, const QStringList &files) const;
    [[nodiscard]] Plan remove(quint64 flags, const QStringList &ids, bool allowDependants,
                              bool autoRemove) const;
    [[nodiscard]] Plan upgradeSystem(const QString &distribution, uint kind) const;
    [[nodiscard]] Plan transfer(quint64 flags, Transaction::Status status,
                                const QVector<OfferedPackage> &offers,
                                const QStringList &files) const;

    PhonePackages &m_phone;
    const Timing &m_timing;
};
