#pragma once

#include "manager.h"
#include "transaction.h"

namespace Package {

/** What a package file says about itself. The file is read in the constructor. */
class InfoTransactionRpm final : public Transaction
{
    Q_OBJECT

public:
    /** @param info takes the file's path, name, version and summary. */
    InfoTransactionRpm(const QString &packageFile, Manager::PackageInformation::Ptr info);

    /** Announces the result that is there already, in the next turn of the event loop. */
    void start() override;

private Q_SLOTS:
    void slotFinished();

private:
    bool m_ok = false;
    QString m_errorText;
};

} // namespace Package
