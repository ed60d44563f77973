#include "signinparameters.h"

SignInParameters::SignInParameters(QObject *parent)
    : QObject(parent)
{ }

void SignInParameters::setParameter(const QString &name, const QString &value)
{
    m_parameters.insert(name, value);
}

void SignInParameters::setParameter(const QString &name, int value)
{
    m_parameters.insert(name, value);
}

QVariantMap SignInParameters::parameters() const
{
    return m_parameters;
}
