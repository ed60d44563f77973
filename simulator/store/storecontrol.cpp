#include "storecontrol.h"

#include <QJsonArray>
#include <QMutexLocker>

namespace {

QJsonObject done()
{
    return {{QStringLiteral("ok"), true}};
}

QJsonObject refused(const QString &why)
{
    return {{QStringLiteral("error"), why}};
}

FeedKind feedKind(const QJsonValue &type)
{
    static const QStringList names{QStringLiteral("unknown"), QStringLiteral("comment"),
                                   QStringLiteral("like"), QStringLiteral("new"),
                                   QStringLiteral("recommendation")};
    return static_cast<FeedKind>(type.isString() ? std::max(0, int(names.indexOf(type.toString())))
                                                 : type.toInt());
}

} // namespace

StoreControl::StoreControl(SimulatorControl *control, StoreState *state, FaultList *faults)
    : m_control(control)
    , m_state(state)
    , m_faults(faults)
{
    handle("reset", [this](const QJsonObject &) {
        m_state->reset();
        m_faults->clear();
        return m_control->Command(QStringLiteral("clear-log"), QString()), done();
    });
    handleFaults();
    handleToken();
    handleLists();
    handleInstalled();
    handleApplications();
}

void StoreControl::handle(const char *verb, SimulatorControl::Handler handler)
{
    m_control->handle(QLatin1String(verb),
                      [this, handler = std::move(handler)](const QJsonObject &arguments) {
                          const QMutexLocker lock(&m_state->mutex());
                          return handler(arguments);
                      });
}

QString StoreControl::applicationUuid(const QString &uuidOrPackage) const
{
    const int at = m_state->catalogue().find(uuidOrPackage);
    return at < 0 ? QString() : m_state->catalogue().applications[at].uuid;
}

void StoreControl::handleFaults()
{
    handle("fault", [this](const QJsonObject &arguments) {
        const QString problem = m_faults->add(arguments);
        return problem.isEmpty() ? done() : refused(problem);
    });
    handle("clear-faults", [this](const QJsonObject &) {
        m_faults->clear();
        return done();
    });
}

void StoreControl::handleToken()
{
    handle("token", [this](const QJsonObject &arguments) {
        m_state->tokenLifetime =
            arguments[QLatin1String("expires_in")].toInt(m_state->tokenLifetime);
        m_state->tokenStatus = arguments[QLatin1String("status")].toInt(m_state->tokenStatus);
        if (arguments[QLatin1String("revoke")].toBool())
            m_state->revokeTokens();
        QJsonObject answer = done();
        if (arguments.contains(QLatin1String("issue"))) {
            answer.insert(QStringLiteral("access_token"),
                          m_state->issueToken(arguments[QLatin1String("issue")].toString(), true));
        }
        return answer;
    });
}

StoreFeedItem StoreControl::feedItem(QJsonObject object) const
{
    StoreFeedItem item;
    const auto take = [&object](const char *key) {
        return object.take(QLatin1String(key)).toString();
    };
    item.kind = feedKind(object.take(QStringLiteral("type")));
    item.application = applicationUuid(take("application"));
    const int user = m_state->catalogue().findUser(take("user"));
    if (user >= 0)
        item.user = m_state->catalogue().users[user].uuid;
    item.text = take(item.kind == FeedKind::Comment ? "review" : "description");
    item.uuid = take("uuid");
    if (item.uuid.isEmpty())
        item.uuid =
            Catalogue::makeUuid(QStringLiteral("pushed-feed"), QString::number(m_nextFeedItem));
    item.createdOn = take("created_on");
    if (item.createdOn.isEmpty())
        item.createdOn = StoreState::now();
    item.overrides = object;
    return item;
}

void StoreControl::handleLists()
{
    handle("feed", [this](const QJsonObject &arguments) {
        if (arguments[QLatin1String("clear")].toBool())
            m_state->clearFeed();
        const QJsonArray items = arguments[QLatin1String("push")].toArray();
        for (const QJsonValue &item : items) {
            m_state->pushFeed(feedItem(item.toObject()));
            ++m_nextFeedItem;
        }
        return done();
    });
    handle("likes", [this](const QJsonObject &arguments) {
        const QJsonArray items = arguments[QLatin1String("push")].toArray();
        for (const QJsonValue &value : items) {
            const QJsonObject item = value.toObject();
            const QString uuid = applicationUuid(item[QLatin1String("application")].toString());
            if (uuid.isEmpty())
                return refused(QStringLiteral("\"application\" is unknown"));
            if (item.contains(QLatin1String("count")))
                m_state->setLikes(uuid, item[QLatin1String("count")].toInt());
            if (item.contains(QLatin1String("own")))
                m_state->setLiked(uuid, item[QLatin1String("own")].toBool());
        }
        return done();
    });
    handle("reviews", [this](const QJsonObject &arguments) {
        const QString uuid = applicationUuid(arguments[QLatin1String("application")].toString());
        const QVector<StoreUser> &users = m_state->catalogue().users;
        if (uuid.isEmpty() || users.isEmpty())
            return refused(QStringLiteral("\"application\" is unknown"));
        const int count = arguments[QLatin1String("count")].toInt();
        for (int i = 0; i < count; ++i) {
            const QString now = StoreState::now();
            m_state->addReview({QString(), uuid, users[i % users.size()].uuid,
                                QStringLiteral("1.0"),
                                QStringLiteral("Generated review number %1.").arg(i),
                                QStringLiteral("en"), QString(), now, now});
        }
        return done();
    });
}

void StoreControl::handleInstalled()
{
    handle("installed", [this](const QJsonObject &arguments) {
        m_state->installedWithData =
            arguments[QLatin1String("with_data")].toBool(m_state->installedWithData);
        if (arguments[QLatin1String("clear")].toBool())
            m_state->clearInstalled();
        const auto change = [&](const char *key, bool installed) {
            const QJsonArray items = arguments[QLatin1String(key)].toArray();
            for (const QJsonValue &item : items) {
                const QString uuid = applicationUuid(item.toString());
                m_state->setInstalled(uuid.isEmpty() ? item.toString() : uuid, installed);
            }
        };
        change("push", true);
        change("remove", false);
        QJsonArray present;
        for (const auto &entry : m_state->installed())
            present.append(entry.first);
        QJsonObject answer = done();
        answer.insert(QStringLiteral("installed"), present);
        return answer;
    });
}

void StoreControl::handleApplications()
{
    handle("applications", [this](const QJsonObject &arguments) {
        m_state->generateApplications(arguments[QLatin1String("count")].toInt());
        return done();
    });
    handle("application", [this](const QJsonObject &arguments) {
        const QString package = arguments[QLatin1String("package_name")].toString();
        if (package.isEmpty())
            return refused(QStringLiteral("\"package_name\" is missing"));
        const int at = m_state->catalogue().find(package);
        StoreApplication application;
        if (at >= 0)
            application = m_state->catalogue().applications[at];
        application.packageName = at >= 0 ? application.packageName : package;
        const QJsonObject set = arguments[QLatin1String("set")].toObject();
        for (auto it = set.constBegin(); it != set.constEnd(); ++it)
            application.overrides.insert(it.key(), it.value());
        application.version = set[QLatin1String("version")].toString(application.version);
        application.title = set[QLatin1String("title")].toString(application.title);
        m_state->putApplication(application);
        QJsonObject answer = done();
        answer.insert(QStringLiteral("uuid"), applicationUuid(package));
        return answer;
    });
    handle("osupdate", [this](const QJsonObject &arguments) {
        m_state->offerRelease(arguments);
        return done();
    });
}
