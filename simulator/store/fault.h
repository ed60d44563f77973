#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QMutex>
#include <QRegularExpression>
#include <QString>
#include <QVector>

/** What goes wrong with one request. */
struct Fault
{
    enum class Kind {
        None,
        Status,
        Delay,
        Cut,
        Reset,
        Endless,
        Type,
        ErrorMessage,
        Body,
        Hang,
        PageLoop
    };

    Kind kind = Kind::None;
    int status = 200; // HTTP status, where the fault gives the answer
    int delay = 0; // ms before the answer
    int bytes = -1; // of the body, sent before it ends; -1: half of it
    bool early = false; // before the headers of the answer
    QByteArray body;
    QByteArray type; // media type; empty: JSON
    QString next; // of a page; empty: the request's own URL

    /** Whether the store never gets to see the request. */
    [[nodiscard]] bool replacesAnswer() const;

    [[nodiscard]] static QString name(Kind kind);
};

/**
 * The faults to play, asked for each request. Thread-safe.
 *
 * A fault is given as an object:
 *
 * | Key | Meaning |
 * |---|---|
 * | "path" | begin of the request's path with query, as sent; after "^" a regular expression |
 * | "method" | only this method |
 * | "times" | how often, -1 (default) until cleared |
 * | "skip" | so many matching requests pass first |
 * | "do" | see below |
 *
 * | "do" | Parameters and effect |
 * |---|---|
 * | "status" | "status", "body", "type": this answer; the request changes nothing |
 * | "body" | "body" or "base64", "type": this with status 200; the request changes nothing |
 * | "error_message" | "error_message", "traceback": the object of the two with status 200 |
 * | "type" | "type": the right answer as this media type |
 * | "delay" | "ms": the right answer, later |
 * | "cut" | "bytes": an orderly end within the body, though its length was announced |
 * | "reset" | "when" "before" (default) or "after" headers and "bytes" of the body: a reset |
 * | "hang" | "when" as above: no (further) answer until the client goes or faults are cleared |
 * | "endless" | "body": the answer begins with it and never ends |
 * | "page-loop" | "next": a right page whose successor is this URL, by default itself |
 *
 * Of several faults that match, the one given last is played.
 */
class FaultList
{
public:
    /** @return an empty text, or what is wrong with @p description. */
    [[nodiscard]] QString add(const QJsonObject &description);
    void clear();

    /** The fault for this request, which counts as played. */
    [[nodiscard]] Fault take(const QString &method, const QString &target);

    /** Grows with each clear(); who waits because of a fault may stop then. */
    [[nodiscard]] int generation();

private:
    struct Entry
    {
        QString method;
        QString prefix;
        QRegularExpression pattern;
        bool isPattern = false;
        int times = -1;
        int skip = 0;
        Fault fault;
    };

    QMutex m_mutex;
    QVector<Entry> m_entries;
    int m_generation = 0;
};
