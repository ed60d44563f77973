// Runs inside a phone; ./bench at the project's root starts it there.
//
//     kiosk-bench [GROUP...]    the figures of these groups, or all

#include "measure.h"
#include "phone.h"

#include <QGuiApplication>

#include <cstdio>

namespace {

struct Group
{
    const char *name;
    void (*measure)();
};

// First what is measured best in a process and a phone that have done little.
constexpr Group groups[] = {
    {"start", Bench::measureStart},
    {"methods", Bench::measureBusMethods},
    {"records", Bench::measureStoreRecords},
    {"models", Bench::measureModels},
    {"cache", Bench::measureDiskCache},
    {"packages", Bench::measurePackages},
    {"idle", Bench::measureIdle},
    {"store", Bench::measureStoreInPhone},
    {"installs", Bench::measurePackagesInPhone},
};

} // namespace

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    const QStringList wanted = QGuiApplication::arguments().mid(1);
    if (qEnvironmentVariableIsEmpty("KIOSK_INSIDE_PHONE"))
        Bench::giveUp(QStringLiteral("this needs a phone around it; ./bench brings one up"));
    // The product's log is not what is measured.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});

    Bench::printHeading();
    for (const Group &group : groups) {
        if (wanted.isEmpty() || wanted.contains(QLatin1String(group.name)))
            group.measure();
    }
    const int missed = Bench::missedBudgets();
    if (missed > 0)
        std::printf("\n%d of the budgets above missed\n", missed);
    return missed > 0 ? 1 : 0;
}
