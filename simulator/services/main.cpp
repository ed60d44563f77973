// servicesim: the phone's platform services, from the start until it is ended.

#include "servicesimulator.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    ServiceSimulator simulator;
    if (!simulator.publish())
        return EXIT_FAILURE;
    return QCoreApplication::exec();
}
