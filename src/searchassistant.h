#pragma once

#include "completiontree.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QSet>
#include <QStringList>
#include <QVariant>

class OrvikStore;

/**
 * Suggestions while the user types. The server is asked once, when a word reaches three
 * characters; what it tells is kept, and further keystrokes are answered from there. Rows
 * that stay valid don't move: the list grows at its end.
 */
class SearchAssistant : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QVariant store READ store WRITE setStore)
    Q_PROPERTY(QString searchTerm READ searchTerm WRITE setSearchTerm)
    Q_PROPERTY(int limit READ limit WRITE setLimit)

public:
    explicit SearchAssistant(QObject *parent = nullptr);

    [[nodiscard]] int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    /** Can only be written: reading gives an invalid value. */
    [[nodiscard]] QVariant store() const;
    /** @param store an OrvikStore as an object, not owned. Anything else is passed over. */
    void setStore(const QVariant &store);
    [[nodiscard]] QString searchTerm() const;
    /** What the user has typed so far. */
    void setSearchTerm(const QString &term);
    [[nodiscard]] int limit() const;
    /** Most suggestions to show; counts from the next update of the list. */
    void setLimit(int limit);

private Q_SLOTS:
    void slotSearchCompletionReceived(QStringList completions);

private:
    enum class Pruning { Keep, Prune };

    void updateSuggestions(Pruning pruning);

    const QHash<int, QByteArray> m_roles;
    QPointer<OrvikStore> m_store;
    QString m_searchTerm;
    int m_limit = 5;
    QStringList m_suggestions;
    CompletionTree m_completionTree; // every word learnt so far
    QSet<QString> m_askedTerms; // in lower case
};
