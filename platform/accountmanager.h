#pragma once

#include <QList>
#include <QObject>

class Account;

/** The accounts that the user has set up on the device. */
class AccountManager : public QObject
{
    Q_OBJECT

public:
    explicit AccountManager(QObject *parent = nullptr);
    ~AccountManager() override;

    /** Numbers of the accounts of @p provider, oldest first. */
    [[nodiscard]] QList<int> providerAccountIdentifiers(const QString &provider) const;

    /**
     * The account of that number, or null if there is none. Owned by the manager; whoever
     * is done with it for good may deleteLater() it, and the next call makes a new one.
     */
    [[nodiscard]] Account *account(int identifier);

private:
    class Storage; // keeps the account library out of this header
    QScopedPointer<Storage> m_storage;
};
