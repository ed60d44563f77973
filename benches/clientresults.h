#pragma once

#include <QObject>
#include <QVariantList>

namespace Bench {

/** Asks the client for installs and removals of one package, and hears what it answers. */
class ClientResults : public QObject
{
    Q_OBJECT

public:
    ClientResults();

    [[nodiscard]] double secondsToInstall();
    [[nodiscard]] double secondsToRemove();
    /** Waits until the client knows what is installed. */
    void waitForList();

private Q_SLOTS:
    void slotInstalled(const QString &name, bool success);
    void slotRemoved(const QString &name, bool success);
    void slotChecked(const QString &name, bool isInstalled);

private:
    [[nodiscard]] static double secondsTo(const int *count, const QString &method,
                                          const QVariantList &arguments);

    int m_installed = 0;
    int m_removed = 0;
    int m_checked = 0;
};

} // namespace Bench
