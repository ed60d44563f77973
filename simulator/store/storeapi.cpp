#include "storeapi.h"

#include "rendering.h"

#include <QJsonDocument>
#include <QMutexLocker>

#include <algorithm>

namespace {

constexpr int defaultLimit = 20;
constexpr int maximumLimit = 1000;
constexpr int completionLimit = 10;

const QString storeRoot = QStringLiteral("/api/v001/");
const QString searchRoot = QStringLiteral("/api/search/");

constexpr const char *resources[] = {"application", "backplate",      "category", "company", "feed",
                                     "like",        "myapplications", "profile",  "review",  "top",
                                     "user"};

StoreResponse reply(const QJsonObject &object, int status = 200)
{
    return {status, QJsonDocument(object).toJson(QJsonDocument::Compact)};
}

StoreResponse plain(int status, const QByteArray &body = {})
{
    return {status, body};
}

StoreResponse notFound()
{
    return reply({{QStringLiteral("detail"), QStringLiteral("Not found.")}}, 404);
}

QJsonObject endpoints(const QString &root, std::initializer_list<const char *> names)
{
    QJsonObject object;
    for (const char *name : names) {
        const QString resource = QLatin1String(name);
        const QString path = root + resource + QLatin1Char('/');
        object.insert(resource,
                      QJsonObject{{QStringLiteral("list_endpoint"), path},
                                  {QStringLiteral("schema"), path + QStringLiteral("schema/")}});
    }
    return object;
}

} // namespace

/** A request on a resource, taken apart. */
struct StoreApi::Call
{
    const StoreRequest &request;
    QUrlQuery query;
    QString resource; // the path's first part behind the root
    QString rest; // what follows it, without the slash at the end

    [[nodiscard]] QString parameter(const char *name) const
    {
        return query.queryItemValue(QLatin1String(name), QUrl::FullyDecoded);
    }
    [[nodiscard]] bool is(const char *method) const
    {
        return request.method == QLatin1String(method);
    }
    [[nodiscard]] QJsonObject body() const
    {
        return QJsonDocument::fromJson(request.body).object();
    }

    /** The page of a list of @p total elements; @p element makes one of them. */
    template <typename Element>
    [[nodiscard]] StoreResponse page(int total, Element element) const
    {
        bool limited = false;
        int limit = parameter("limit").toInt(&limited);
        if (!limited)
            limit = defaultLimit;
        if (limit < 1 || limit > maximumLimit)
            limit = maximumLimit;
        const int offset = std::max(0, parameter("offset").toInt());
        QJsonArray objects;
        for (int i = offset; i < total && i - offset < limit; ++i)
            objects.append(element(i));
        const QJsonObject meta{
            {QStringLiteral("limit"), limit},
            {QStringLiteral("offset"), offset},
            {QStringLiteral("total_count"), total},
            {QStringLiteral("next"),
             offset + limit < total ? QJsonValue(turnTo(offset + limit)) : QJsonValue()},
            {QStringLiteral("previous"),
             offset > 0 ? QJsonValue(turnTo(std::max(0, offset - limit))) : QJsonValue()}};
        return reply({{QStringLiteral("meta"), meta}, {QStringLiteral("objects"), objects}});
    }

    /** The relative URL of the same list at another offset, all other parameters as sent. */
    [[nodiscard]] QString turnTo(int offset) const
    {
        QStringList parts = request.rawQuery.split(QLatin1Char('&'), Qt::SkipEmptyParts);
        parts.erase(std::remove_if(parts.begin(), parts.end(),
                                   [](const QString &part) {
                                       return part.startsWith(QLatin1String("offset="));
                                   }),
                    parts.end());
        parts.append(QStringLiteral("offset=%1").arg(offset));
        return request.rawPath + QLatin1Char('?') + parts.join(QLatin1Char('&'));
    }
};

StoreApi::StoreApi(StoreState *state, ImageStore *images)
    : m_state(state)
    , m_images(images)
{ }

StoreResponse StoreApi::answer(const StoreRequest &request)
{
    if (request.path.startsWith(QLatin1String("/static/")))
        return image(request);
    const QMutexLocker lock(&m_state->mutex());
    if (request.path == QLatin1String("/oauth/token"))
        return giveToken(request);
    if (request.path == storeRoot) {
        return reply(endpoints(storeRoot,
                               {resources[0], resources[1], resources[2], resources[3],
                                resources[4], resources[5], resources[6], resources[7],
                                resources[8], resources[9], resources[10]}));
    }
    if (request.path == searchRoot)
        return reply(endpoints(searchRoot, {"application"}));
    const bool searching = request.path.startsWith(searchRoot);
    if (!searching && !request.path.startsWith(storeRoot))
        return notFound();

    const QString bearer = QStringLiteral("Bearer ");
    if (!request.authorization.startsWith(bearer)
        || !m_state->isValidToken(request.authorization.mid(bearer.size())))
        return reply({{QStringLiteral("detail"), QStringLiteral("Invalid token.")}}, 401);

    QString rest = request.path.mid((searching ? searchRoot : storeRoot).size());
    if (rest.endsWith(QLatin1Char('/')))
        rest.chop(1);
    const QString resource = rest.section(QLatin1Char('/'), 0, 0);
    const Call call{request, QUrlQuery(request.rawQuery), resource,
                    rest.section(QLatin1Char('/'), 1)};
    return searching ? search(call) : answerApi(call);
}

StoreResponse StoreApi::answerApi(const Call &call)
{
    using Method = StoreResponse (StoreApi::*)(const Call &);
    static const QHash<QString, Method> methods{
        {QStringLiteral("application"), &StoreApi::applications},
        {QStringLiteral("backplate"), &StoreApi::backplates},
        {QStringLiteral("category"), &StoreApi::categories},
        {QStringLiteral("company"), &StoreApi::companies},
        {QStringLiteral("feed"), &StoreApi::feed},
        {QStringLiteral("like"), &StoreApi::likes},
        {QStringLiteral("myapplications"), &StoreApi::installed},
        {QStringLiteral("profile"), &StoreApi::profile},
        {QStringLiteral("review"), &StoreApi::reviews},
        {QStringLiteral("top"), &StoreApi::top},
        {QStringLiteral("user"), &StoreApi::users},
    };
    const Method method = methods.value(call.resource);
    return method ? (this->*method)(call) : notFound();
}

StoreResponse StoreApi::giveToken(const StoreRequest &request)
{
    const QJsonObject wanted = QJsonDocument::fromJson(request.body).object();
    if (request.method != QLatin1String("POST"))
        return plain(405);
    if (m_state->tokenStatus != 200)
        return reply({{QStringLiteral("error"), QStringLiteral("invalid_grant")}},
                     m_state->tokenStatus);
    if (wanted[QLatin1String("client_id")].toString().isEmpty())
        return reply({{QStringLiteral("error"), QStringLiteral("invalid_client")}}, 400);
    const QJsonValue refresh = wanted[QLatin1String("refresh")];
    const bool fresh = refresh.toBool() || refresh.toInt() != 0 || !refresh.toString().isEmpty();
    const QString token = m_state->issueToken(wanted[QLatin1String("user")].toString(), fresh);
    return reply({{QStringLiteral("access_token"), token},
                  {QStringLiteral("token_type"), QStringLiteral("Bearer")},
                  {QStringLiteral("expires_in"), m_state->tokenLifetime}});
}

StoreResponse StoreApi::image(const StoreRequest &request)
{
    // "/static/<kind>/<name>/<width>x<height>.png"
    const QStringList parts = request.path.split(QLatin1Char('/'));
    const QStringList size = parts.value(4).section(QLatin1Char('.'), 0, 0).split(QLatin1Char('x'));
    if (parts.size() != 5 || size.size() != 2)
        return notFound();
    ImageRequest wanted{parts[2], parts[3], QSize(size[0].toInt(), size[1].toInt()), QString(), {}};
    {
        const QMutexLocker lock(&m_state->mutex());
        const Catalogue &catalogue = m_state->catalogue();
        const int at = catalogue.find(wanted.name);
        if (at >= 0) {
            wanted.glyph = catalogue.applications[at].glyph;
            wanted.colours = catalogue.applications[at].colours;
        } else if (wanted.kind != QLatin1String("avatar") || catalogue.findUser(wanted.name) < 0) {
            return notFound();
        }
    }
    const QByteArray bytes = m_images->image(wanted);
    return bytes.isEmpty() ? notFound() : StoreResponse{200, bytes, "image/png"};
}

StoreResponse StoreApi::applications(const Call &call)
{
    if (!call.is("GET"))
        return plain(405);
    if (call.rest.isEmpty() || call.rest == QLatin1String("search"))
        return applicationList(call, ApplicationFilter::Order::Catalogue);
    const int at = m_state->catalogue().find(call.rest);
    if (at < 0 || m_state->catalogue().applications[at].uuid != call.rest)
        return notFound();
    return reply(Rendering(m_state->catalogue(), call.request.host)
                     .application(m_state->catalogue().applications[at]));
}

StoreResponse StoreApi::applicationList(const Call &call, ApplicationFilter::Order order)
{
    ApplicationFilter filter;
    filter.category = call.parameter("category__uuid_incl_subs");
    filter.company = call.parameter("company__uuid");
    filter.user = call.parameter("user__uuid");
    filter.words = call.parameter("q");
    filter.packageName = call.parameter("package_name");
    filter.packagePrefix = call.parameter("package_name__startswith");
    filter.recommended = call.parameter("recommended") == QLatin1String("1");
    filter.hidden = call.parameter("hidden") == QLatin1String("true");
    filter.order = order;
    const QVector<int> found = m_state->findApplications(filter);
    const Catalogue &catalogue = m_state->catalogue();
    const Rendering rendering(catalogue, call.request.host);
    return call.page(found.size(), [&](int i) {
        return rendering.application(catalogue.applications[found[i]]);
    });
}

StoreResponse StoreApi::search(const Call &call)
{
    if (!call.is("GET") || call.resource != QLatin1String("application"))
        return notFound();
    if (call.rest == QLatin1String("autocomplete")) {
        const QStringList words = m_state->completions(call.parameter("q"), completionLimit);
        return reply({{QStringLiteral("results"), QJsonArray::fromStringList(words)}});
    }
    return call.rest.isEmpty() ? applicationList(call, ApplicationFilter::Order::Catalogue)
                               : notFound();
}

StoreResponse StoreApi::top(const Call &call)
{
    static const QHash<QString, ApplicationFilter::Order> orders{
        {QString(), ApplicationFilter::Order::Downloaded},
        {QStringLiteral("downloaded"), ApplicationFilter::Order::Downloaded},
        {QStringLiteral("liked"), ApplicationFilter::Order::Liked},
        {QStringLiteral("new"), ApplicationFilter::Order::New},
    };
    const auto order = orders.constFind(call.rest);
    return call.is("GET") && order != orders.constEnd() ? applicationList(call, *order)
                                                        : notFound();
}

StoreResponse StoreApi::feed(const Call &call)
{
    if (!call.is("GET") || !call.rest.isEmpty())
        return notFound();
    const Rendering rendering(m_state->catalogue(), call.request.host);
    const QVector<StoreFeedItem> &items = m_state->catalogue().feed;
    return call.page(items.size(), [&](int i) { return rendering.feedItem(items[i]); });
}

StoreResponse StoreApi::categories(const Call &call)
{
    if (!call.is("GET") || !call.rest.isEmpty())
        return notFound();
    const QVector<StoreCategory> &known = m_state->catalogue().categories;
    return call.page(known.size(), [&](int i) {
        return QJsonObject{{QStringLiteral("uuid"), known[i].uuid},
                           {QStringLiteral("parent"), known[i].parent},
                           {QStringLiteral("title"), known[i].title}};
    });
}

StoreResponse StoreApi::companies(const Call &call)
{
    for (const StoreCompany &company : m_state->catalogue().companies) {
        if (company.uuid == call.rest) {
            return reply({{QStringLiteral("uuid"), company.uuid},
                          {QStringLiteral("name"), company.name},
                          {QStringLiteral("VAT_number"), company.vatNumber},
                          {QStringLiteral("country"), company.country},
                          {QStringLiteral("url"), company.url}});
        }
    }
    return notFound();
}

StoreResponse StoreApi::users(const Call &call)
{
    const Catalogue &catalogue = m_state->catalogue();
    // The bare resource is the profile of whoever asks.
    const int at = catalogue.findUser(call.rest.isEmpty() ? catalogue.ownUser : call.rest);
    if (at < 0 || !call.is("GET"))
        return notFound();
    return reply(Rendering(catalogue, call.request.host).user(catalogue.users[at]));
}

StoreResponse StoreApi::reviews(const Call &call)
{
    if (!call.is("GET"))
        return writeReview(call);
    const Rendering rendering(m_state->catalogue(), call.request.host);
    const QString application = call.parameter("application__uuid");
    QVector<StoreReview> found;
    for (const StoreReview &review : m_state->catalogue().reviews) {
        if (application.isEmpty() || review.application == application)
            found.append(review);
    }
    return call.page(found.size(), [&](int i) { return rendering.review(found[i]); });
}

StoreResponse StoreApi::writeReview(const Call &call)
{
    const Catalogue &catalogue = m_state->catalogue();
    const QJsonObject body = call.body();
    const QString text = body[QLatin1String("review")].toString();
    if (call.is("POST") && call.rest.isEmpty()) {
        const int at = catalogue.find(body[QLatin1String("application")].toString());
        if (at < 0)
            return reply({{QStringLiteral("detail"), QStringLiteral("No such application.")}}, 400);
        const QString now = StoreState::now();
        const QString uuid =
            m_state->addReview({QString(), catalogue.applications[at].uuid, catalogue.ownUser,
                                body[QLatin1String("version")].toString(), text,
                                body[QLatin1String("language")].toString(),
                                body[QLatin1String("device")].toString(), now, now});
        return reply(Rendering(catalogue, call.request.host).review(*m_state->findReview(uuid)),
                     201);
    }
    StoreReview *review = m_state->findReview(call.rest);
    if (!review)
        return notFound();
    if (review->user != catalogue.ownUser)
        return reply({{QStringLiteral("detail"), QStringLiteral("Not yours.")}}, 403);
    if (call.is("DELETE")) {
        m_state->removeReview(call.rest);
        return plain(204);
    }
    if (!call.is("PUT"))
        return plain(405);
    review->text = text;
    review->version = body[QLatin1String("version")].toString();
    review->updatedOn = StoreState::now();
    return reply(Rendering(catalogue, call.request.host).review(*review));
}

StoreResponse StoreApi::likes(const Call &call)
{
    const Catalogue &catalogue = m_state->catalogue();
    const bool list = call.is("GET") && call.rest.isEmpty();
    const QString wanted = list ? call.parameter("application__uuid")
        : call.is("POST")       ? call.body()[QLatin1String("application")].toString()
                                : call.rest;
    const int at = catalogue.find(wanted);
    if (at < 0)
        return notFound();
    const QString uuid = catalogue.applications[at].uuid;
    if (list) {
        return call.page(catalogue.applications[at].likes, [&](int i) {
            return QJsonObject{{QStringLiteral("uuid"),
                                Catalogue::makeUuid(QStringLiteral("like"), QString::number(i))},
                               {QStringLiteral("application"), uuid}};
        });
    }
    const bool liked = m_state->isLiked(uuid);
    if (call.is("POST")) {
        m_state->setLiked(uuid, true);
        return reply({{QStringLiteral("application"), uuid}}, liked ? 200 : 201);
    }
    if (!liked)
        return notFound();
    if (call.is("DELETE")) {
        m_state->setLiked(uuid, false);
        return plain(204);
    }
    return call.is("GET") ? reply({{QStringLiteral("application"), uuid}}) : plain(405);
}

StoreResponse StoreApi::installed(const Call &call)
{
    const Catalogue &catalogue = m_state->catalogue();
    if (call.is("GET") && call.rest.isEmpty()) {
        const Rendering rendering(catalogue, call.request.host);
        const auto &entries = m_state->installed();
        return call.page(entries.size(), [&](int i) {
            QJsonObject entry{{QStringLiteral("application"), entries[i].first},
                              {QStringLiteral("created_on"), entries[i].second}};
            const int at = catalogue.find(entries[i].first);
            if (at >= 0 && m_state->installedWithData)
                entry.insert(QStringLiteral("application_data"),
                             rendering.application(catalogue.applications[at]));
            return entry;
        });
    }
    const QString uuid =
        call.is("POST") ? call.body()[QLatin1String("application")].toString() : call.rest;
    const bool known = std::any_of(m_state->installed().cbegin(), m_state->installed().cend(),
                                   [&uuid](const auto &entry) { return entry.first == uuid; });
    if (call.is("POST") && catalogue.find(uuid) >= 0) {
        m_state->setInstalled(uuid, true);
        return reply({{QStringLiteral("application"), uuid}}, 201);
    }
    if (!call.is("DELETE") || !known)
        return notFound();
    m_state->setInstalled(uuid, false);
    return plain(204);
}

StoreResponse StoreApi::profile(const Call &call)
{
    if (!call.is("GET") || call.rest != QLatin1String("set/developer_mode")
        || call.parameter("imei").isEmpty())
        return notFound();
    ++m_state->developerModeReports;
    return reply({});
}

StoreResponse StoreApi::backplates(const Call &call)
{
    if (!call.is("PUT"))
        return plain(405);
    QJsonObject backplate = m_state->catalogue().backplates.value(call.rest);
    if (backplate.isEmpty())
        return notFound();
    if (backplate.take(QStringLiteral("in_use")).toBool())
        return plain(422, "\"Already activated for different account\"");
    return reply(backplate);
}
