#pragma once

#include <QElapsedTimer>
#include <QString>
#include <QVector>

/** What the tour writes: stations as they pass, progress bars, a summary at the end. */
class Terminal
{
public:
    Terminal();

    void beginStation(const QString &title);
    /** Ends the station with what was seen. */
    void endStation(const QString &outcome);
    void note(const QString &text);
    /** @param percent a negative value shows as working, with no amount known. */
    void progress(const QString &label, int percent);
    /** The stations with their times. */
    void summary() const;

private:
    struct Station
    {
        QString title;
        QString outcome;
        qint64 milliseconds;
    };

    void endProgress();

    const bool m_interactive; // a progress bar may be drawn over itself
    bool m_progressShown = false;
    int m_lastPercent = -1;
    QElapsedTimer m_timer;
    QVector<Station> m_stations;
};
