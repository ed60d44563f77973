#include "fuzzinput.h"

#include "package/osupdatesizetransactionpkgkit.h"

#include <QCoreApplication>

using namespace Package;
using Pk = PackageKit::Transaction;

/** The error text in which the package daemon packs the sizes of an OS update. */
void fuzz(FuzzInput &input)
{
    const QString text = QString::fromUtf8(input.takeRest());
    const auto info = Manager::UpgradeInformation::Ptr::create();
    auto *transaction = new OsUpdateSizeTransactionPkgKit(info);
    bool succeeded = false;
    QString failure;
    QObject::connect(transaction, &Transaction::success, transaction,
                     [&succeeded] { succeeded = true; });
    QObject::connect(transaction, &Transaction::failure, transaction,
                     [&failure](const QString &details) { failure = details; });
    const bool told = QMetaObject::invokeMethod(
        transaction, "slotTransactionError",
        Q_ARG(PackageKit::Transaction::Error, Pk::ErrorNoDistroUpgradeData), Q_ARG(QString, text));
    const bool ended = QMetaObject::invokeMethod(
        transaction, "slotTransactionFinished",
        Q_ARG(PackageKit::Transaction::Exit, Pk::ExitFailed), Q_ARG(uint, 0));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    require(told && ended, "the slots are there");
    require(succeeded || failure == text, "what can't be read is passed on");
    require(!succeeded || text.count(QLatin1Char(';')) >= 3, "a size query has four answers");
    require(succeeded || info->downloadSize == -1, "sizes are known all at once");
}
