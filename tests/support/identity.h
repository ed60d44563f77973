#pragma once

#include <QStringList>

/** Whom a program of the phone can run as. */
enum class Identity {
    Root, ///< user and group root
    Privileged, ///< the phone's user, in the group "privileged"
    User, ///< the phone's user, in its own group
};

/**
 * @p command, so that it runs as @p identity with that one's runtime folder; it keeps the
 * process number. Only root can run it.
 */
[[nodiscard]] QStringList commandAs(Identity identity, const QStringList &command);
