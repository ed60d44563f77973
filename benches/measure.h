#pragma once

#include <QString>

#include <functional>

/** Timing, waiting and the one table that everything ends up in. */
namespace Bench {

/** Gives one measurement: seconds, or calls per second. */
using Probe = std::function<double()>;

struct Medians
{
    double figure;
    double floor;
};

enum class Unit { Seconds, PerSecond, Megabytes, Count };

/**
 * Runs @p figure and @p floor in turn, after one round of each that does not count, and
 * adds a row with their medians. The ratio is the median of the rounds' ratios, since both
 * halves of a round meet the same weather on the machine.
 *
 * @param budget the largest ratio that holds; for rates the smallest.
 * @return the medians of both.
 */
Medians compare(const char *name, Unit unit, double budget, int rounds, const Probe &figure,
                const Probe &floor);

/** Adds a row with a figure and a floor that were measured elsewhere. */
void addRatio(const char *name, Unit unit, double budget, double figure, double floor);

/** Adds a row with a figure that must not exceed @p budget, both in @p unit. */
void addLimit(const char *name, Unit unit, double budget, double figure);

/** Adds a row that has no verdict. */
void addNote(const char *name, Unit unit, double figure);

/** Prints what stands above the rows, which are printed as they come. */
void printHeading();

/** The number of rows over their budget so far. */
[[nodiscard]] int missedBudgets();

/** Seconds that @p work takes. */
[[nodiscard]] double secondsOf(const std::function<void()> &work);

/**
 * Seconds that this thread computes for @p work, which waits for nobody: whatever else runs
 * on the machine is left out.
 */
[[nodiscard]] double computingSecondsOf(const std::function<void()> &work);

/** Seconds that this thread has computed so far. */
[[nodiscard]] double computingSeconds();

/** Turns the event loop until @p condition holds; ends the run, saying @p what, if it never does.
 */
void waitUntil(const char *what, const std::function<bool()> &condition, int timeout = 60000);

/** Says why the benchmarks can't go on, and ends them. */
[[noreturn]] void giveUp(const QString &reason);

/** Bytes of this process's heap that are in use. */
[[nodiscard]] double heapInUse();

/** A number of a line of /proc/PID/FILE, such as "Anonymous:", as it is told there. */
[[nodiscard]] qint64 processNumber(qint64 pid, const char *file, const char *key);

} // namespace Bench
