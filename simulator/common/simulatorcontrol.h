#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>

#include <functional>

/**
 * The remote control of one simulator program: faults, scripted values and the record of
 * what happened, on the phone's system bus, for the command "phone" and for tests.
 *
 * Bus name "org.kiosk.Simulator.<Part>", object "/org/kiosk/Simulator", interface
 * "org.kiosk.Simulator1":
 *
 *     Command(s verb, s arguments) -> s result     both texts are JSON objects
 *     Recorded(s entry)                            a signal for each entry of the record
 *
 * Three verbs are answered here: "log" gives {"entries": [...]} with the optional
 * argument {"kind": "..."} as a filter; "clear-log" empties the record; "verbs" lists the
 * verbs. Every other verb goes to the handler that the program has registered for it.
 * An unknown verb, or arguments that are no JSON object, give {"error": "..."}.
 */
class SimulatorControl : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kiosk.Simulator1")

public:
    using Handler = std::function<QJsonObject(const QJsonObject &arguments)>;

    /** @param part last part of the bus name, such as "Store". */
    explicit SimulatorControl(const QString &part, QObject *parent = nullptr);

    /** Registers what @p verb does; a later handler for the same verb replaces it. */
    void handle(const QString &verb, const Handler &handler);

    /**
     * Takes the bus name on the system bus. To be called last, when the program is able
     * to serve: whoever waits for the name may then rely on it.
     * @return false, with a message on standard error, if the bus or the name can't be had.
     */
    [[nodiscard]] bool publish();

    /**
     * Appends @p entry to the record and announces it. The text "kind" names what it is;
     * a running number "n" and the time in milliseconds "ms" are added.
     */
    void record(QJsonObject entry);

    [[nodiscard]] QJsonArray entries(const QString &kind = QString()) const;

public Q_SLOTS:
    Q_SCRIPTABLE QString Command(const QString &verb, const QString &arguments);

Q_SIGNALS:
    Q_SCRIPTABLE void Recorded(const QString &entry);

private:
    QString m_part;
    QHash<QString, Handler> m_handlers;
    QJsonArray m_entries;
    int m_next = 0;
};
