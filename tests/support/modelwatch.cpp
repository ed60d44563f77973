#include "modelwatch.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>

#include <algorithm>

namespace {

QJsonValue toJson(const QVariant &value)
{
    if (value.userType() == QMetaType::QDateTime)
        return value.toDateTime().toUTC().toString(Qt::ISODate);
    return QJsonValue::fromVariant(value);
}

QString toText(const QJsonValue &value)
{
    return QString::fromUtf8(QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact));
}

/** The parts in which two values differ, each behind the way that leads to it. */
void compare(const QString &way, const QJsonValue &stored, const QJsonValue &seen,
             QStringList *differences)
{
    if (stored == seen)
        return;
    if (stored.isObject() && seen.isObject()) {
        QStringList keys = stored.toObject().keys() + seen.toObject().keys();
        keys.removeDuplicates();
        for (const QString &key : qAsConst(keys))
            compare(way + QLatin1Char(' ') + key, stored[key], seen[key], differences);
    } else if (stored.isArray() && seen.isArray()) {
        const int count = std::max(stored.toArray().size(), seen.toArray().size());
        for (int i = 0; i < count; ++i)
            compare(QStringLiteral("%1 [%2]").arg(way).arg(i), stored[i], seen[i], differences);
    } else {
        differences->append(QStringLiteral("%1: stored %2, seen %3")
                                .arg(way.trimmed(), toText(stored), toText(seen)));
    }
}

} // namespace

ModelWatch::ModelWatch(QAbstractItemModel *model, Checks checks)
    : m_model(model)
{
    const auto note = [this](const char *what) {
        return [this, what](const QModelIndex &, int first, int last) {
            for (int row = first; row <= last; ++row)
                m_journal.append(QStringLiteral("%1 %2").arg(QLatin1String(what)).arg(row));
        };
    };
    connect(model, &QAbstractItemModel::rowsInserted, this, note("insert"));
    connect(model, &QAbstractItemModel::rowsRemoved, this, note("remove"));
    connect(model, &QAbstractItemModel::rowsMoved, this, note("move"));
    connect(model, &QAbstractItemModel::modelReset, this,
            [this] { m_journal.append(QStringLiteral("reset")); });
    connect(model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex &first, const QModelIndex &last, const QVector<int> &roles) {
                for (int row = first.row(); row <= last.row(); ++row) {
                    QString entry = QStringLiteral("change %1").arg(row);
                    for (int role : roles)
                        entry += QStringLiteral(" %1").arg(role);
                    m_journal.append(entry);
                }
            });
    if (checks == Checks::None)
        return;
    m_flat.setSourceModel(model);
    m_tester = std::make_unique<QAbstractItemModelTester>(
        &m_flat, QAbstractItemModelTester::FailureReportingMode::QtTest);
}

ModelWatch::~ModelWatch() = default;

QString ModelWatch::take()
{
    const QString entries = journal();
    m_journal.clear();
    return entries;
}

QStringList ModelWatch::texts(const char *role) const
{
    QStringList found;
    const int number = m_model->roleNames().key(role, -1);
    for (int row = 0; row < m_model->rowCount(); ++row)
        found.append(m_model->data(m_model->index(row, 0), number).toString());
    return found;
}

QString ModelWatch::shown(const char *role) const
{
    return texts(role).join(QLatin1Char(' '));
}

QJsonArray ModelWatch::rows(const QStringList &roles) const
{
    QJsonArray found;
    const QHash<int, QByteArray> names = m_model->roleNames();
    for (int row = 0; row < m_model->rowCount(); ++row) {
        QJsonObject values;
        for (auto role = names.cbegin(); role != names.cend(); ++role) {
            const QString name = QString::fromLatin1(role.value());
            if (roles.isEmpty() || roles.contains(name))
                values.insert(name, toJson(m_model->data(m_model->index(row, 0), role.key())));
        }
        found.append(values);
    }
    return found;
}

QString pictureDifference(const QString &folder, const QString &name, const QJsonArray &picture)
{
    QFile file(QStringLiteral("%1/%2.json").arg(folder, name));
    if (qEnvironmentVariableIsSet("KIOSK_STORE_PICTURES")) {
        const bool stored =
            file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(picture).toJson()) > 0;
        return stored ? QString() : file.errorString();
    }
    if (!file.open(QIODevice::ReadOnly))
        return file.fileName() + QStringLiteral(": ") + file.errorString();
    QStringList differences;
    compare(QString(), QJsonDocument::fromJson(file.readAll()).array(), picture, &differences);
    return differences.join(QLatin1Char('\n'));
}
