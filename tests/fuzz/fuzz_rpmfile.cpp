#include "fuzzinput.h"

#include "package/infotransactionrpm.h"

#include <QCoreApplication>
#include <QTemporaryFile>

using namespace Package;

void fuzz(FuzzInput &input)
{
    QTemporaryFile file;
    require(file.open(), "a file can be made");
    file.write(input.takeRest());
    file.flush();
    const auto info = Manager::PackageInformation::Ptr::create();
    auto *transaction = new InfoTransactionRpm(file.fileName(), info);
    int results = 0;
    bool finished = false;
    QObject::connect(transaction, &Transaction::success, transaction, [&results] { ++results; });
    QObject::connect(transaction, &Transaction::failure, transaction, [&results] { ++results; });
    QObject::connect(transaction, &Transaction::finished, transaction,
                     [&finished] { finished = true; });
    transaction->start();
    while (!finished)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    require(results == 1, "a file has one verdict");
    require(info->file == file.fileName(), "a result names its file");
}
