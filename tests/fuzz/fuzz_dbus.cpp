#include "fuzzinput.h"

#include "contentmodel.h"
#include "dbusconnector.h"
#include "installhandler.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "scriptedmanager.h"
#include "service.h"
#include "storeimageprovider.h"

#include <QCoreApplication>

#include <memory>

namespace {

/** The program below its window, with transactions that wait for a push. */
struct Program
{
    explicit Program(ScriptedManager *manager);

    StoreImageProvider images;
    QSharedPointer<PackageHandler> packages;
    QSharedPointer<OrvikStore> store = QSharedPointer<OrvikStore>::create(&images, nullptr);
    QSharedPointer<ContentModel> installed = QSharedPointer<ContentModel>::create();
    DBusConnector connector{{}, nullptr};
};

Program::Program(ScriptedManager *manager)
    : packages(QSharedPointer<PackageHandler>::create(manager, nullptr))
{
    require(connector.hasService(), "the service name is free");
    connector.setPackageHandler(packages);
    connector.setStore(store);
    connector.setInstallHandler(
        QSharedPointer<InstallHandler>::create(packages, store, installed, nullptr));
}

/** Calls @p method with arguments from @p input, as the bus would. */
void call(Service *service, const QMetaMethod &method, FuzzInput &input)
{
    const bool flag = (input.takeByte() & 1) != 0;
    const QString first = input.takeText();
    const QString second = input.takeText();
    const QStringList list = first.split(QLatin1Char(','));
    const QList<QByteArray> types = method.parameterTypes();
    const auto argument = [&](int index, const QString &text) -> QGenericArgument {
        const QByteArray type = types.value(index);
        if (type == "bool")
            return Q_ARG(bool, flag);
        if (type == "QStringList")
            return Q_ARG(QStringList, list);
        return type == "QString" ? Q_ARG(QString, text) : QGenericArgument();
    };
    require(method.invoke(service, argument(0, first), argument(1, second)), "a method is called");
}

void push(const MadeTransactions &made, FuzzInput &input)
{
    for (const auto &transaction : QList<QPointer<ScriptedTransaction>>(*made)) {
        if (!transaction || !transaction->isStarted)
            continue;
        if (input.takeByte() % 2 == 0)
            transaction->succeed();
        else
            transaction->fail(input.takeText());
        break;
    }
    QCoreApplication::processEvents();
}

} // namespace

/** Calls of the program's D-Bus methods: a byte for the method or for a push, then texts. */
void fuzz(FuzzInput &input)
{
    QStringList journal;
    auto *manager = new ScriptedManager(&journal); // the package handler's
    const MadeTransactions made = manager->made;
    {
        const Program program(manager);
        auto *service = program.connector.findChild<Service *>();
        const QMetaObject *meta = service->metaObject();
        const int count = meta->methodCount() - meta->methodOffset();
        for (int calls = 0; calls < 20 && !input.isEmpty(); ++calls) {
            const QMetaMethod method =
                meta->method(meta->methodOffset() + input.takeByte() % count);
            // The one with a message needs a real caller; the number of a signal pushes.
            if (method.methodType() == QMetaMethod::Slot
                && !method.parameterTypes().contains("QDBusMessage"))
                call(service, method, input);
            else
                push(made, input);
        }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    require(deleteStarted(made).isEmpty(), "every transaction is started or let go");
}
