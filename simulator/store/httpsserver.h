#pragma once

#include "fault.h"
#include "storeapi.h"

#include <QJsonObject>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace httplib {
class SSLServer;
struct Request;
struct Response;
} // namespace httplib

/**
 * The store's door: HTTPS on the loopback address, one worker thread for each connection
 * up to a fixed number. Asks StoreApi for each answer, and plays the faults that concern
 * the wire.
 */
class HttpsServer
{
public:
    /** Called on a worker thread with each request's entry for the record, before any byte
     *  of the answer leaves. */
    using Recorder = std::function<void(const QJsonObject &entry)>;

    /** @p api and @p faults must outlive this object. */
    HttpsServer(StoreApi *api, FaultList *faults, Recorder recorder);
    ~HttpsServer();

    HttpsServer(const HttpsServer &) = delete;
    HttpsServer &operator=(const HttpsServer &) = delete;

    /**
     * Listens on @p port, 0 for any that is free.
     * @return the port, or -1 with the reason in @p problem.
     */
    [[nodiscard]] int listen(const QString &certificate, const QString &key, int port,
                             QString *problem);

private:
    void serve(const httplib::Request &request, httplib::Response &response);
    void play(const Fault &fault, const StoreResponse &answer, int socket,
              httplib::Response &response);
    /** Waits for @p milliseconds, -1 for ever; ends early when the client has gone, faults
     *  are cleared or the server stops. */
    void wait(int socket, int milliseconds);

    StoreApi *m_api;
    FaultList *m_faults;
    Recorder m_recorder;
    std::unique_ptr<httplib::SSLServer> m_server;
    std::thread m_thread; // accepts connections
    std::atomic<bool> m_stopping{false};
};
