#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>

#include <chrono>
#include <optional>

/** How a call goes wrong. */
struct MethodFault
{
    std::chrono::milliseconds delay{0}; // before the call is carried out
    bool hang = false; // no answer ever
    QString errorName; // answer with this error, if not empty
    QString errorText;
    int times = 0; // calls that it still holds for; 0 for all
};

/**
 * The faults that are set for methods, under the names by which calls are recorded, such
 * as "rdm.modifyRepo".
 */
class MethodFaults
{
public:
    /**
     * Sets the fault of @p arguments, in place of an earlier one for the same "method":
     * "ms" delays, "hang": true never answers, "error" names an error with the text "text",
     * "times" limits it. None of these takes the fault away.
     * @return the answer to the verb, with "error" if the method isn't named.
     */
    QJsonObject set(const QJsonObject &arguments);
    void clear();

    /** The fault that the call of @p method, now happening, has to suffer, if any. */
    [[nodiscard]] std::optional<MethodFault> take(const QString &method);

private:
    QHash<QString, MethodFault> m_faults;
};
