#pragma once

#include "feedmodel.h"

#include <QAbstractListModel>
#include <QList>
#include <QPointer>
#include <QVector>

/**
 * The newest items of a feed, each in a slot that it keeps: a new item takes the place of
 * the oldest one instead of pushing all rows down. The rows are thus no order of age.
 */
class FeedHeadModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int length READ length WRITE setLength NOTIFY lengthChanged)
    Q_PROPERTY(
        FeedModel *sourceModel READ sourceModel WRITE setSourceModel NOTIFY sourceModelChanged)

public:
    explicit FeedHeadModel(QObject *parent = nullptr);
    ~FeedHeadModel() override;

    [[nodiscard]] int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] int length() const;
    /** How many items to show; the rows follow at the next turn of the event loop. */
    void setLength(int length);
    [[nodiscard]] FeedModel *sourceModel() const;
    /** @param source the feed, not owned. The rows follow from its next change. */
    void setSourceModel(FeedModel *source);

Q_SIGNALS:
    void lengthChanged();
    void sourceModelChanged();

private Q_SLOTS:
    void onDataChanged(QModelIndex topLeft, QModelIndex bottomRight, QVector<int> roles);
    void onRowsInserted(QModelIndex parent, int first, int last);
    void onRowsMoved(QModelIndex parent, int start, int end, QModelIndex destination, int row);
    void onRowsRemoved(QModelIndex parent, int first, int last);
    void resetModel();

private:
    void scheduleReset();

    int m_length = 0;
    QPointer<FeedModel> m_sourceModel;
    QList<int> m_map; // source row of each row
    bool m_pending = false; // a rebuild is scheduled
};
