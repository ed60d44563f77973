#include "qmltypes.h"

#include "accountstate.h"
#include "applicationstate.h"
#include "contentmodel.h"
#include "feedheadmodel.h"
#include "feedmodel.h"
#include "liker.h"
#include "orvikstore.h"
#include "osinfo.h"
#include "packagehandler.h"
#include "reviewmodel.h"
#include "searchassistant.h"
#include "store/feed.h"

#include <QtQml>

void registerQmlTypes(const char *uri)
{
    qRegisterMetaType<OsInfo>("OsInfo");
    qmlRegisterType<ContentModel>(uri, 1, 0, "ContentModel");
    qmlRegisterType<FeedModel>(uri, 1, 0, "FeedModel");
    qmlRegisterType<FeedHeadModel>(uri, 1, 0, "FeedHeadModel");
    qmlRegisterType<Liker>(uri, 1, 0, "Liker");
    qmlRegisterType<ReviewModel>(uri, 1, 0, "ReviewModel");
    qmlRegisterType<SearchAssistant>(uri, 1, 0, "SearchAssistant");
    qmlRegisterUncreatableType<OrvikStore>(uri, 1, 0, "OrvikStore",
                                           QStringLiteral("cannot instantiate OrvikStore in QML"));
    qmlRegisterUncreatableType<PackageHandler>(
        uri, 1, 0, "PackageHandler", QStringLiteral("cannot instantiate PackageHandler in QML"));
    qmlRegisterUncreatableType<ApplicationState>(uri, 1, 0, "ApplicationState", QString());
    qmlRegisterUncreatableType<AccountState>(uri, 1, 0, "AccountState", QString());
    qmlRegisterUncreatableType<Store::Feed>(uri, 1, 0, "Feed", QString());
}
