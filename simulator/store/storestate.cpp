#include "storestate.h"

#include <QRegularExpression>
#include <QUuid>

#include <algorithm>
#include <utility>

namespace {

constexpr int maximumFound = 50; // remembered filter results

QString keyOf(const ApplicationFilter &filter)
{
    return QStringList{filter.category,
                       filter.company,
                       filter.user,
                       filter.words,
                       filter.packageName,
                       filter.packagePrefix,
                       QString::number(int(filter.recommended)),
                       QString::number(int(filter.hidden)),
                       QString::number(int(filter.order))}
        .join(QLatin1Char('\x1f'));
}

} // namespace

StoreState::StoreState(Catalogue catalogue, const QString &model)
    : m_start(std::move(catalogue))
    , m_model(model.toLower())
{
    reset();
}

QString StoreState::now()
{
    return QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzzZ"));
}

void StoreState::reset()
{
    m_now = m_start;
    m_liked.clear();
    m_installed.clear();
    m_tokens.clear();
    m_generated.clear();
    m_releasePackages.clear();
    m_found.clear();
    tokenLifetime = 3600;
    tokenStatus = 200;
    installedWithData = true;
    developerModeReports = 0;
    for (const StoreApplication &application : std::as_const(m_now.applications)) {
        if (application.preinstalled)
            m_installed.append({application.uuid, QStringLiteral("2026-05-04T08:00:00")});
    }
}

QVector<int> StoreState::findApplications(const ApplicationFilter &filter)
{
    const QString key = keyOf(filter);
    const auto known = m_found.constFind(key);
    if (known != m_found.constEnd())
        return *known;

    const QStringList words = filter.words.toLower().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QVector<int> positions;
    if (!filter.packageName.isEmpty()) {
        const int at = m_now.find(filter.packageName);
        if (at >= 0 && matches(m_now.applications[at], filter, words))
            positions.append(at);
    } else {
        for (int i = 0; i < m_now.applications.size(); ++i) {
            if (matches(m_now.applications[i], filter, words))
                positions.append(i);
        }
    }
    sort(&positions, filter.order);
    if (!words.isEmpty()) {
        // A hit in the title is what the user most likely means.
        std::stable_partition(positions.begin(), positions.end(), [&](int at) {
            return m_now.applications[at].title.contains(words.first(), Qt::CaseInsensitive);
        });
    }
    if (m_found.size() >= maximumFound)
        m_found.clear();
    m_found.insert(key, positions);
    return positions;
}

bool StoreState::matches(const StoreApplication &application, const ApplicationFilter &filter,
                         const QStringList &words) const
{
    if (application.hidden != filter.hidden || (filter.recommended && !application.recommended)
        || (!filter.packageName.isEmpty() && application.packageName != filter.packageName)
        || (!filter.company.isEmpty() && application.company != filter.company)
        || (!filter.user.isEmpty() && application.user != filter.user)
        || !application.packageName.startsWith(filter.packagePrefix))
        return false;
    if (!filter.category.isEmpty() && !m_now.isWithin(application.category, filter.category))
        return false;
    return std::all_of(words.cbegin(), words.cend(), [&application](const QString &word) {
        return application.searchText.contains(word);
    });
}

void StoreState::sort(QVector<int> *positions, ApplicationFilter::Order order) const
{
    const auto by = [&](auto value) {
        std::stable_sort(positions->begin(), positions->end(), [&](int a, int b) {
            return value(m_now.applications[a]) > value(m_now.applications[b]);
        });
    };
    switch (order) {
    case ApplicationFilter::Order::Catalogue:
        return;
    case ApplicationFilter::Order::Downloaded:
        return by([](const StoreApplication &application) { return application.downloads; });
    case ApplicationFilter::Order::Liked:
        return by([](const StoreApplication &application) { return application.likes; });
    case ApplicationFilter::Order::New:
        return by([](const StoreApplication &application) { return application.createdOn; });
    }
}

QStringList StoreState::completions(const QString &typed, int limit) const
{
    static const QRegularExpression separators(QStringLiteral("[\\s,-]+"));
    const QString start = typed.trimmed().toLower();
    QStringList titles;
    QStringList words;
    for (const StoreApplication &application : m_now.applications) {
        if (application.hidden)
            continue;
        const QString title = application.title.toLower();
        if (title.startsWith(start) && !titles.contains(title))
            titles.append(title);
        const QStringList parts = title.split(separators, Qt::SkipEmptyParts);
        for (const QString &word : parts) {
            if (word.startsWith(start) && !titles.contains(word) && !words.contains(word))
                words.append(word);
        }
        if (titles.size() >= limit)
            break;
    }
    return (titles + words).mid(0, limit);
}

void StoreState::putApplication(const StoreApplication &application)
{
    m_now.add(application);
    m_found.clear();
}

void StoreState::generateApplications(int count)
{
    m_now.remove(std::exchange(m_generated, {}));
    for (int i = 0; i < count; ++i) {
        StoreApplication application;
        application.packageName = QStringLiteral("generated-%1").arg(i, 6, 10, QLatin1Char('0'));
        application.title = QStringLiteral("Generated %1").arg(i);
        application.summary = QStringLiteral("Number %1 of %2").arg(i).arg(count);
        application.description = application.summary;
        application.version = QStringLiteral("1.0.%1").arg(i);
        application.category =
            m_now.categories.isEmpty() ? QString() : m_now.categories.constLast().uuid;
        application.company = m_now.companies.isEmpty()
            ? QString()
            : m_now.companies[i % m_now.companies.size()].uuid;
        application.user =
            m_now.users.isEmpty() ? QString() : m_now.users[i % m_now.users.size()].uuid;
        application.createdOn = now();
        application.updatedOn = application.createdOn;
        application.binarySize = qint64(1024) * (i % 9000 + 100);
        application.likes = i % 100;
        application.downloads = i;
        application.screenshots = 2;
        application.recommended = true;
        m_now.add(application);
        m_generated.append(application.packageName);
    }
    m_found.clear();
}

void StoreState::offerRelease(const QJsonObject &release)
{
    m_now.remove(std::exchange(m_releasePackages, {}));
    m_found.clear();
    const QString version = release[QLatin1String("version")].toString();
    if (version.isEmpty())
        return;
    const auto value = [&](const char *key) {
        const QJsonValue given = release[QLatin1String(key)];
        return (given.isUndefined() ? m_now.osRelease[QLatin1String(key)] : given).toString();
    };
    StoreApplication application;
    application.hidden = true;
    application.createdOn = now();
    application.updatedOn = application.createdOn;
    application.packageName = QStringLiteral("branwick-version-checkv2-") + m_model;
    application.title = QStringLiteral("Version check");
    application.version = version;
    m_now.add(application);
    m_releasePackages.append(application.packageName);
    if (!release[QLatin1String("info")].toBool(true))
        return;
    application.packageName = QStringLiteral("branwick-version-osinfo-%1-%2").arg(m_model, version);
    application.title = value("code_name");
    application.summary = value("summary");
    application.website = value("website");
    application.version = release[QLatin1String("info_version")].toString(version);
    application.glyph = QStringLiteral("mountain");
    application.colours = QStringList{QStringLiteral("#457b9d"), QStringLiteral("#1d3557")};
    m_now.add(application);
    m_releasePackages.append(application.packageName);
}

QString StoreState::addReview(StoreReview review)
{
    if (review.uuid.isEmpty())
        review.uuid =
            Catalogue::makeUuid(QStringLiteral("sent-review"), QString::number(m_nextReview++));
    m_now.reviews.prepend(review);
    return review.uuid;
}

StoreReview *StoreState::findReview(const QString &uuid)
{
    const auto found =
        std::find_if(m_now.reviews.begin(), m_now.reviews.end(),
                     [&uuid](const StoreReview &review) { return review.uuid == uuid; });
    return found == m_now.reviews.end() ? nullptr : &*found;
}

void StoreState::removeReview(const QString &uuid)
{
    m_now.reviews.erase(
        std::remove_if(m_now.reviews.begin(), m_now.reviews.end(),
                       [&uuid](const StoreReview &review) { return review.uuid == uuid; }),
        m_now.reviews.end());
}

void StoreState::setLiked(const QString &application, bool liked)
{
    const int at = m_now.find(application);
    if (at < 0 || isLiked(m_now.applications[at].uuid) == liked)
        return;
    StoreApplication &known = m_now.applications[at];
    known.likes += liked ? 1 : -1;
    if (liked)
        m_liked.insert(known.uuid);
    else
        m_liked.remove(known.uuid);
    m_found.clear();
}

void StoreState::setLikes(const QString &application, int likes)
{
    const int at = m_now.find(application);
    if (at >= 0)
        m_now.applications[at].likes = likes;
    m_found.clear();
}

void StoreState::setInstalled(const QString &application, bool installed, const QString &when)
{
    m_installed.erase(std::remove_if(m_installed.begin(), m_installed.end(),
                                     [&](const QPair<QString, QString> &entry) {
                                         return entry.first == application;
                                     }),
                      m_installed.end());
    if (installed)
        m_installed.append({application, when.isNull() ? now() : when});
}

QString StoreState::issueToken(const QString &user, bool fresh)
{
    QString &token = m_tokens[user];
    if (token.isEmpty() || fresh)
        token = QStringLiteral("token-%1-%2")
                    .arg(++m_nextToken)
                    .arg(QUuid::createUuid().toString(QUuid::Id128));
    return token;
}
