#include "branwickkeyprovider.h"

#include "keyfile.h"

#include <cstring>

namespace {

constexpr char keyFile[] = "/usr/share/branwick/keys.ini"; // group provider, key service/key

constexpr int success = 0;
constexpr int noSuchKey = -1;

} // namespace

int BranwickKeyProvider_storedKey(const char *provider, const char *service, const char *key,
                                  char **value)
{
    if (!provider || !service || !key || !value)
        return noSuchKey;
    const QByteArray stored =
        KeyFile(keyFile).value(provider, QByteArray(service) + '/' + QByteArray(key));
    if (stored.isNull())
        return noSuchKey;
    *value = strdup(stored.constData());
    return *value ? success : noSuchKey;
}
