#include "fuzzinput.h"

#include "servertranscript.h"

#include <memory>

namespace {

constexpr const char *readers[] = {
    "slotApplicationListFinished()",
    "slotApplicationDataFinished()",
    "slotBackplateActivationFinished()",
    "slotCategoriesReceived()",
    "slotCompanyFinished()",
    "slotFeedItemsReceived()",
    "slotInstalledApplicationsReceived()",
    "slotLikesListFinished()",
    "slotReviewListFinished()",
    "slotSchemaReceived()",
    "slotSearchCompletionsFinished()",
    "slotSearchEndPointsReceived()",
    "slotSendReviewFinished()",
    "slotStoreEndPointsReceived()",
    "slotUserFinished()",
    "slotUserReceived()",
};
// A server keeps what it reads: each serves for a while.
constexpr int runsPerServer = 500;

} // namespace

/** A letter for the reader, from "a" on, then a response of the store. */
void fuzz(FuzzInput &input)
{
    static std::unique_ptr<ServerTranscript> transcript;
    static int runs = 0;
    if (runs++ % runsPerServer == 0)
        transcript = std::make_unique<ServerTranscript>();
    const auto reader = std::size_t(input.takeByte() + 256 - 'a') % std::size(readers);
    ScriptedAnswer answer;
    answer.body = input.takeRest();
    const QJsonArray told = transcript->play(readers[reader], answer);
    for (const QJsonValue &entry : told)
        require(!entry[QLatin1String("timeout")].toBool(), "every response comes to an end");
}
