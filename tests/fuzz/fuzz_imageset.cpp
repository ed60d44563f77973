#include "fuzzinput.h"

#include "store/imageset.h"
#include "store/json.h"

using namespace Store;

/** A width and a height, then {"images": […]} as the store sends it. */
void fuzz(FuzzInput &input)
{
    const QSize size(input.takeByte(), input.takeByte());
    const QVariantList images = Json(input.takeRest()).value(QStringLiteral("images")).toList();
    ImageSets sets;
    const QString id = sets.insert(images);
    require(id.isEmpty() == images.isEmpty(), "no set without images, and no images lost");
    require(sets.insert(images) == id, "equal sets have one identifier");
    const auto set = sets.find(id);
    require(set && set->isEmpty() == images.isEmpty(), "a set is found again");
    const QString url = scaledImageUrl(*set, size);
    require(url.isEmpty() || set->values().contains(url), "a URL is one of the set's");
}
