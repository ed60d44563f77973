#pragma once

#include <QDBusMessage>
#include <QJsonObject>
#include <QObject>
#include <QProcess>
#include <QVariantList>

/**
 * The tour's hold on the client and its phone: starts the process, calls its service as any
 * program on the bus would, hears its signals, and scripts the phone around it.
 */
class Client : public QObject
{
    Q_OBJECT

public:
    explicit Client(QObject *parent = nullptr);
    ~Client() override;

    /** Starts the client with @p arguments. @return whether its name came on the bus. */
    [[nodiscard]] bool start(const QStringList &arguments);
    /** Ends it as a logout does. @return its exit status. */
    int stop();
    [[nodiscard]] QString log() const;

    /** Calls a method that answers with signals. */
    void call(const QString &method, const QVariantList &arguments = {});
    /** Calls a method that answers, and waits for its answer. */
    [[nodiscard]] QVariantList ask(const QString &method);

    /** Tells a simulator program something. */
    static QJsonObject simulator(const QString &part, const QString &verb,
                                 const QJsonObject &arguments = {});

Q_SIGNALS:
    void packageProgress(const QString &package, int percent);
    void installed(const QString &package, bool success);
    void removed(const QString &package, bool success);
    void osUpdateStatus(int status);
    void osUpdateProgress(int percent);
    /** An offer; the sizes are in bytes, below 1 where they aren't known yet. */
    void osUpdateOffered(const QString &version, const QString &codeName, qlonglong download,
                         qlonglong install);
    /** The store was asked something. */
    void storeAsked();

private Q_SLOTS:
    void onOsUpdateInfo(const QDBusMessage &message);

private:
    QProcess m_process;
};
