#pragma once

#include <QObject>
#include <QVariantMap>

/**
 * One sign-in, from its start to its one outcome. What carries it out is behind this
 * interface, so that it can be exchanged without touching Account.
 */
class SignInSession : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /**
     * Starts the sign-in; called once. It ends in succeeded() or failed(), never in both
     * and never in neither, and not before this has returned.
     * @param method,mechanism what is to carry the sign-in out.
     * @param parameters named values that go to it.
     */
    virtual void start(const QString &method, const QString &mechanism,
                       const QVariantMap &parameters) = 0;

    /** Gives the sign-in up; nothing is emitted any more. */
    virtual void cancel() = 0;

Q_SIGNALS:
    void succeeded(const QVariantMap &data);
    /** @param errorType a number of the sign-in framework, or Account::ErrorNetwork. */
    void failed(const QString &details, int errorType);
};
