#include "fuzzinput.h"

#include <QCoreApplication>

// The two entries that the compiler's fuzzer looks for.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    // Never deleted: the fuzzer ends the process from within a run.
    static const auto *const application = new QCoreApplication(*argc, *argv);
    Q_UNUSED(application)
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzInput input(data, size);
    fuzz(input);
    return 0;
}
