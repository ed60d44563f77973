#pragma once

#include <QList>
#include <QModelIndex>
#include <QObject>
#include <QSharedPointer>
#include <QVector>

class ContentFilterModel;
class ContentModel;

/**
 * Cuts a flat list into the rows of a grid: a list of small models, each with at most
 * columns() applications of one section. Every section begins in a new grid row.
 *
 * All changes of one turn of the event loop give one rebuild, after which a view must take
 * list() anew: the objects that it held are gone.
 */
class ContentGridModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int columns READ columns WRITE setColumns NOTIFY columnsChanged)
    Q_PROPERTY(QList<QObject *> list READ list NOTIFY listChanged)

public:
    explicit ContentGridModel(QSharedPointer<ContentModel> source, QObject *parent = nullptr);
    ~ContentGridModel() override;

    [[nodiscard]] int columns() const;
    /** Most items in a grid row; with 0 or less there are no rows. */
    void setColumns(int columns);
    /** The ContentFilterModel objects in display order, owned by this object. */
    [[nodiscard]] QList<QObject *> list() const;

Q_SIGNALS:
    void columnsChanged();
    void listChanged();

private Q_SLOTS:
    void onDataChanged(QModelIndex topLeft, QModelIndex bottomRight, QVector<int> roles);
    void onRowsInserted(QModelIndex parent, int first, int last);
    void onRowsMoved(QModelIndex parent, int start, int end, QModelIndex destination, int row);
    void onRowsRemoved(QModelIndex parent, int first, int last);
    void resetModel();

private:
    void scheduleReset();
    void clear();

    const QSharedPointer<ContentModel> m_source;
    int m_columns = 0;
    QList<ContentFilterModel *> m_list;
    bool m_pending = false; // a rebuild is scheduled
};
