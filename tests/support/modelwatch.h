#pragma once

#include <QAbstractItemModelTester>
#include <QIdentityProxyModel>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QStringList>

#include <memory>

/**
 * A list as the model tester wants it, with no rows below a row. Our list models answer
 * rowCount() without a look at its parent, which the tester refuses.
 */
class FlatProxy final : public QIdentityProxyModel
{
    Q_OBJECT

public:
    using QIdentityProxyModel::QIdentityProxyModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = QModelIndex()) const override
    {
        return parent.isValid() ? 0 : QIdentityProxyModel::rowCount(parent);
    }
};

/**
 * Follows one list model: every change goes through the model tester, which fails the test
 * on a breach of the model's contract, and is noted in the journal.
 */
class ModelWatch : public QObject
{
    Q_OBJECT

public:
    enum class Checks {
        All,
        None, ///< without the model tester, whose every check walks all rows
    };

    /** @param model must outlive the watch. */
    explicit ModelWatch(QAbstractItemModel *model, Checks checks = Checks::All);
    ~ModelWatch() override;

    /** "insert 0", "remove 2", "change 1" with the roles, if any, and "reset", since last time. */
    QString take();
    [[nodiscard]] QString journal() const { return m_journal.join(QStringLiteral(", ")); }

    /** What one role, by its name, says in each row, as text. */
    [[nodiscard]] QStringList texts(const char *role) const;
    /** The same, with blanks between the rows. */
    [[nodiscard]] QString shown(const char *role) const;

    /** All rows with the named roles, or with all of them. Dates are texts in UTC. */
    QJsonArray rows(const QStringList &roles = {}) const;

private:
    QAbstractItemModel *m_model;
    FlatProxy m_flat;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    QStringList m_journal;
};

/**
 * Compares @p picture with the one stored in the test's data folder as "NAME.json".
 * @return an empty text, or what differs, entry by entry. With KIOSK_STORE_PICTURES=1 in
 *         the environment the picture is stored anew instead.
 */
[[nodiscard]] QString pictureDifference(const QString &folder, const QString &name,
                                        const QJsonArray &picture);
