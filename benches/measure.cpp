#include "measure.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include <malloc.h>

namespace Bench {

namespace {

enum class Verdict { Held, Missed, None };

int s_missed = 0;

double median(std::vector<double> values)
{
    const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

QString text(double value, Unit unit)
{
    switch (unit) {
    case Unit::Seconds:
        if (value < 1e-6)
            return QString::asprintf("%.0f ns", value * 1e9);
        if (value < 1e-3)
            return QString::asprintf("%.1f µs", value * 1e6);
        return value < 1 ? QString::asprintf("%.1f ms", value * 1e3)
                         : QString::asprintf("%.2f s", value);
    case Unit::PerSecond:
        return QString::asprintf("%.0f/s", value);
    case Unit::Megabytes:
        return QString::asprintf("%.2f MB", value);
    case Unit::Count:
        break;
    }
    return value == std::floor(value) ? QString::number(qint64(value))
                                      : QString::asprintf("%.2f", value);
}

void addRow(const char *name, const QString &figure, const QString &floor, const QString &ratio,
            const QString &budget, Verdict verdict)
{
    if (verdict == Verdict::Missed)
        ++s_missed;
    const char *word = verdict == Verdict::Held ? "ok" : verdict == Verdict::Missed ? "OVER" : "";
    // As it goes, since the whole takes minutes.
    const auto cell = [](const QString &content) { return content.rightJustified(10).toUtf8(); };
    std::printf("%-46s %s %s %s %s  %s\n", name, cell(figure).constData(), cell(floor).constData(),
                cell(ratio).constData(), cell(budget).constData(), word);
    std::fflush(stdout);
}

void addComparison(const char *name, Unit unit, double budget, double figure, double floor,
                   double ratio)
{
    const bool isRate = unit == Unit::PerSecond;
    addRow(name, text(figure, unit), text(floor, unit), QString::asprintf("%.2f", ratio),
           QString::asprintf("%s%.2f", isRate ? ">= " : "<= ", budget),
           (isRate ? ratio >= budget : ratio <= budget) ? Verdict::Held : Verdict::Missed);
}

} // namespace

Medians compare(const char *name, Unit unit, double budget, int rounds, const Probe &figure,
                const Probe &floor)
{
    std::vector<double> figures;
    std::vector<double> floors;
    std::vector<double> ratios;
    (void)floor();
    (void)figure();
    for (int round = 0; round < rounds; ++round) {
        floors.push_back(floor());
        figures.push_back(figure());
        ratios.push_back(figures.back() / floors.back());
    }
    const Medians medians{median(figures), median(floors)};
    addComparison(name, unit, budget, medians.figure, medians.floor, median(ratios));
    return medians;
}

void addRatio(const char *name, Unit unit, double budget, double figure, double floor)
{
    addComparison(name, unit, budget, figure, floor, figure / floor);
}

void addLimit(const char *name, Unit unit, double budget, double figure)
{
    addRow(name, text(figure, unit), QStringLiteral("-"), QStringLiteral("-"),
           QStringLiteral("<= ") + text(budget, unit),
           figure <= budget ? Verdict::Held : Verdict::Missed);
}

void addNote(const char *name, Unit unit, double figure)
{
    addRow(name, text(figure, unit), QStringLiteral("-"), QStringLiteral("-"), QStringLiteral("-"),
           Verdict::None);
}

void printHeading()
{
    addRow("", QStringLiteral("figure"), QStringLiteral("floor"), QStringLiteral("ratio"),
           QStringLiteral("budget"), Verdict::None);
}

int missedBudgets()
{
    return s_missed;
}

double secondsOf(const std::function<void()> &work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double computingSecondsOf(const std::function<void()> &work)
{
    const double begin = computingSeconds();
    work();
    return computingSeconds() - begin;
}

double computingSeconds()
{
    struct timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

void waitUntil(const char *what, const std::function<bool()> &condition, int timeout)
{
    const QDeadlineTimer deadline(timeout);
    QTimer waker; // or nothing would wake the loop at the deadline
    waker.start(1000);
    while (!condition()) {
        if (deadline.hasExpired())
            giveUp(QStringLiteral("waited in vain: ") + QString::fromUtf8(what));
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
}

void giveUp(const QString &reason)
{
    std::fprintf(stderr, "bench: %s\n", qPrintable(reason));
    std::_Exit(EXIT_FAILURE);
}

double heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return double(info.uordblks + info.hblkhd);
}

qint64 processNumber(qint64 pid, const char *file, const char *key)
{
    QFile source(QStringLiteral("/proc/%1/%2").arg(pid).arg(QLatin1String(file)));
    if (!source.open(QIODevice::ReadOnly))
        giveUp(QStringLiteral("can't read ") + source.fileName());
    const QList<QByteArray> lines = source.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(key))
            return line.mid(int(qstrlen(key))).simplified().split(' ').constFirst().toLongLong();
    }
    giveUp(source.fileName() + QStringLiteral(" has no ") + QLatin1String(key));
}

} // namespace Bench
