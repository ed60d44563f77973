#include "terminal.h"

#include <QTextStream>

#include <unistd.h>

namespace {

constexpr int barWidth = 40; // characters

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QString seconds(qint64 milliseconds)
{
    return QStringLiteral("%1 s").arg(double(milliseconds) / 1000, 6, 'f', 1);
}

} // namespace

Terminal::Terminal()
    : m_interactive(isatty(STDOUT_FILENO) == 1)
{ }

void Terminal::beginStation(const QString &title)
{
    m_timer.start();
    m_stations.append({title, QString(), 0});
    out() << "\n" << m_stations.size() << ". " << title << "\n";
    out().flush();
}

void Terminal::endStation(const QString &outcome)
{
    endProgress();
    Station &station = m_stations.last();
    station.outcome = outcome;
    station.milliseconds = m_timer.elapsed();
    out() << "   " << outcome << "\n";
    out().flush();
}

void Terminal::note(const QString &text)
{
    endProgress();
    out() << "   " << text << "\n";
    out().flush();
}

void Terminal::progress(const QString &label, int percent)
{
    if (!m_interactive) {
        // A log gets a line for each quarter.
        if (percent >= 0 && percent / 25 != m_lastPercent / 25)
            out() << "   " << label << " " << percent << " %\n";
        m_lastPercent = percent;
        out().flush();
        return;
    }
    const int filled = qBound(0, percent, 100) * barWidth / 100;
    out() << "\r   " << label << " [" << QString(filled, QLatin1Char('#'))
          << QString(barWidth - filled, QLatin1Char('.')) << "] "
          << (percent < 0 ? QStringLiteral("working") : QStringLiteral("%1 %").arg(percent))
          << "   ";
    out().flush();
    m_progressShown = true;
}

void Terminal::summary() const
{
    qint64 total = 0;
    out() << "\nThe tour in short\n";
    for (const Station &station : m_stations) {
        total += station.milliseconds;
        out() << seconds(station.milliseconds) << "  " << station.title << ": " << station.outcome
              << "\n";
    }
    out() << seconds(total) << "  in all\n";
    out().flush();
}

void Terminal::endProgress()
{
    if (m_progressShown)
        out() << "\n";
    m_progressShown = false;
    m_lastPercent = -1;
}
