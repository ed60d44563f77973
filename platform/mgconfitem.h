#pragma once

#include <QObject>
#include <QVariant>

/** One value of the system's configuration database, read by its key path. */
class MGConfItem : public QObject
{
    Q_OBJECT

public:
    /** @param key absolute path, such as "/apps/kiosk-client/settings/…". */
    explicit MGConfItem(const QString &key, QObject *parent = nullptr);

    [[nodiscard]] QString key() const;

    /** The value, or @p fallback if the key isn't set or has no type known here. */
    [[nodiscard]] QVariant value(const QVariant &fallback = QVariant()) const;

private:
    QString m_key;
};
