#pragma once

#include <QObject>

/** Carries to QML how far the sign-in to the store has come. */
class AccountState : public QObject
{
    Q_OBJECT

public:
    enum State {
        Unknown = 0, // nothing has been tried yet
        NoAccount = 1, // the device has no account, or it went away
        NeedsUpdate = 2, // the user must renew the account's credentials
        NetworkError = 3, // sign-in failed for lack of network
        Waiting = 4, // the account object is busy
        SigningIn = 5,
        SignedIn = 6 // the token is good
    };
    Q_ENUM(State)
};
