#pragma once

#include "identity.h"

#include <QString>
#include <QVariantList>

/** Where a call goes. */
struct BusTarget
{
    QString service;
    QString path;
    QString interface;
    bool systemBus = false;
};

/** What came back: an error, or the arguments of the reply. */
struct BusReply
{
    QString errorName; ///< such as "org.freedesktop.DBus.Error.AccessDenied"; empty without one
    QString errorText;
    QString signature;
    /** Structures and arrays as lists, dictionaries as maps with text keys. */
    QVariantList arguments;

    [[nodiscard]] bool isError() const { return !errorName.isEmpty(); }
};

/**
 * Calls @p method from a process of its own that runs as @p identity, since services look
 * at the process behind a call. Turns the event loop meanwhile, so the service may be in
 * this process.
 *
 * @param arguments basic types, QStringList, QByteArray and QVariantMap, sent with exactly
 *        their types and without asking the service for its introspection.
 */
[[nodiscard]] BusReply callAs(Identity identity, const BusTarget &target, const QString &method,
                              const QVariantList &arguments = {}, int timeout = 25000);
