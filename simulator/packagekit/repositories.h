#pragma once

#include <QJsonArray>
#include <QString>
#include <QVector>

/** A place that packages come from. */
struct Repository
{
    QString id;
    QString description;
    bool enabled = true;
};

/**
 * The phone's repositories, in a fixed order. They are switched by the package daemon's
 * clients, at once, and changed by the release manager, whose changes wait for an update.
 */
class Repositories final
{
public:
    /** The repositories of a phone that comes from the factory. */
    Repositories();

    [[nodiscard]] const QVector<Repository> &all() const { return m_all; }
    [[nodiscard]] bool contains(const QString &id) const;
    [[nodiscard]] bool isEnabled(const QString &id) const;

    /** @return false if there is no repository @p id. */
    bool setEnabled(const QString &id, bool enabled);

    /** Notes a change by the release manager: 1 add, 2 remove, 3 enable, 4 disable. */
    void modify(int action, const QString &id);

    /** Carries out what modify() has noted; an added repository begins disabled. */
    void applyModifications();

    [[nodiscard]] QJsonArray toJson() const;
    void restore(const QJsonArray &stored);

private:
    QVector<Repository> m_all;
    QVector<QPair<int, QString>> m_modifications;
};
