#include "testaccount.h"
#include "text.h"

#include "platform/account.h"

#include <QTest>

namespace {

const QString service = text("orvik-store");
const QString needsUpdateKey = text("CredentialsNeedUpdate");

} // namespace

TestAccount::TestAccount()
    : m_account(m_manager.account(m_manager.providerAccountIdentifiers(text("orvik")).value(0)))
{
    if (!m_account)
        QTest::qFail("the phone has no account", __FILE__, __LINE__);
}

void TestAccount::setNeedsUpdate(const QString &ofService, bool needed)
{
    m_account->setConfigurationValue(ofService, needsUpdateKey, needed);
    write();
}

void TestAccount::setEnabled(bool enabled)
{
    m_account->setEnabled(enabled);
    write();
}

bool TestAccount::enabled() const
{
    return m_account->enabled();
}

QVariant TestAccount::value(const QString &ofService, const QString &key) const
{
    return m_account->configurationValues(ofService).value(key);
}

void TestAccount::repair()
{
    m_account->setEnabled(true);
    m_account->enableWithService(service);
    m_account->setConfigurationValue(QString(), needsUpdateKey, false);
    m_account->setConfigurationValue(service, needsUpdateKey, false);
    m_account->setConfigurationValue(service, text("CredentialsNeedUpdateFrom"), QString());
    write();
}

void TestAccount::write()
{
    m_account->sync();
    if (!QTest::qWaitFor([this] { return m_account->status() == Account::StatusSynced; }))
        QTest::qFail("the account can't be written", __FILE__, __LINE__);
}
