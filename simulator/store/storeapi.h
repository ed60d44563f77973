#pragma once

#include "imagestore.h"
#include "storestate.h"

#include <QByteArray>
#include <QUrlQuery>

/** A request as it came over the wire. */
struct StoreRequest
{
    QString method;
    QString path; // decoded
    QString rawPath; // as sent
    QString rawQuery; // as sent
    QString host; // the header "Host"
    QString authorization; // the header
    QByteArray body;
};

struct StoreResponse
{
    int status = 200;
    QByteArray body;
    QByteArray type = "application/json; charset=utf-8";
};

/**
 * The store's REST interface: what each request is answered with, and what it changes.
 *
 * Below "/api/v001/" and "/api/search/" lie the resources, "/oauth/token" gives tokens and
 * "/static/" holds images. Everything below "/api/" but the two lists of endpoints wants a
 * valid bearer token. Thread-safe.
 */
class StoreApi
{
public:
    /** Both arguments must outlive this object. */
    StoreApi(StoreState *state, ImageStore *images);

    [[nodiscard]] StoreResponse answer(const StoreRequest &request);

private:
    struct Call;
    [[nodiscard]] StoreResponse answerApi(const Call &call);
    [[nodiscard]] StoreResponse giveToken(const StoreRequest &request);
    [[nodiscard]] StoreResponse image(const StoreRequest &request);

    [[nodiscard]] StoreResponse applications(const Call &call);
    [[nodiscard]] StoreResponse applicationList(const Call &call, ApplicationFilter::Order order);
    [[nodiscard]] StoreResponse search(const Call &call);
    [[nodiscard]] StoreResponse top(const Call &call);
    [[nodiscard]] StoreResponse feed(const Call &call);
    [[nodiscard]] StoreResponse categories(const Call &call);
    [[nodiscard]] StoreResponse companies(const Call &call);
    [[nodiscard]] StoreResponse users(const Call &call);
    [[nodiscard]] StoreResponse reviews(const Call &call);
    [[nodiscard]] StoreResponse writeReview(const Call &call);
    [[nodiscard]] StoreResponse likes(const Call &call);
    [[nodiscard]] StoreResponse installed(const Call &call);
    [[nodiscard]] StoreResponse profile(const Call &call);
    [[nodiscard]] StoreResponse backplates(const Call &call);

    StoreState *m_state;
    ImageStore *m_images;
};
