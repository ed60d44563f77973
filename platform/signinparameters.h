#pragma once

#include <QObject>
#include <QVariantMap>

/** Named values that a sign-in hands to the method that carries it out. */
class SignInParameters : public QObject
{
    Q_OBJECT

public:
    explicit SignInParameters(QObject *parent = nullptr);

    void setParameter(const QString &name, const QString &value);
    void setParameter(const QString &name, int value);
    [[nodiscard]] QVariantMap parameters() const;

private:
    QVariantMap m_parameters;
};
