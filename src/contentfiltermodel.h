#pragma once

#include "applicationstate.h"

#include <QAbstractListModel>
#include <QList>
#include <QSharedPointer>

class ContentModel;

/**
 * One row of a grid: a few rows of a flat list, all of one section, by their numbers. The
 * numbers are fixed when it is made; ContentGridModel makes it anew when the list changes.
 */
class ContentFilterModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(ApplicationState::State appSection READ appSection CONSTANT)

public:
    ContentFilterModel(ApplicationState::State appSection, QSharedPointer<ContentModel> source,
                       const QList<int> &rows, QObject *parent);
    ~ContentFilterModel() override;

    [[nodiscard]] int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] ApplicationState::State appSection() const;
    /** Source row of each of its rows. */
    [[nodiscard]] const QList<int> &rows() const;
    /** Announces a change of the one row at @p position. */
    void notifyRow(int position, const QVector<int> &roles);

private:
    const ApplicationState::State m_appSection;
    const QSharedPointer<ContentModel> m_source;
    const QList<int> m_rows;
};
