#pragma once

/**
 * Reads a key of the platform's key store.
 *
 * @param provider,service,key which key, such as "orvik", "orvik-store", "client_id".
 * @param[out] value a heap string that the caller frees with free(); set only on success.
 * @return 0 on success, a negative number if there is no such key.
 */
int BranwickKeyProvider_storedKey(const char *provider, const char *service, const char *key,
                                  char **value);
