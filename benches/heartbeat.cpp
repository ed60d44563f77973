// The client with a pulse: prints the longest time, in milliseconds, for which its event
// loop could not turn, counted from when it is first entered.

#include "kioskclient.h"
#include "mdeclarativecache.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTimer>

#include <cstdio>

namespace {

constexpr int beat = 2; // milliseconds

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication *application = MDeclarativeCache::qApplication(argc, argv);
    qint64 longest = 0;
    {
        const KioskClient client({});
        if (!client.hasService())
            return 1;
        QElapsedTimer sinceBeat;
        QTimer heart;
        heart.setTimerType(Qt::PreciseTimer);
        QObject::connect(&heart, &QTimer::timeout, &heart, [&longest, &sinceBeat] {
            if (sinceBeat.isValid())
                longest = qMax(longest, sinceBeat.nsecsElapsed());
            sinceBeat.start();
        });
        heart.start(beat);
        QGuiApplication::exec();
    }
    std::printf("%.1f\n", qMax(0.0, double(longest) / 1e6 - beat));
    delete application;
    return 0;
}
