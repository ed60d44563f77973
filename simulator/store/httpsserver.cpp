#include "httpsserver.h"

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>

#include <dirent.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

namespace {

constexpr size_t workers = 64; // a connection that is kept alive occupies one
constexpr int backlog = 128;
// Longer than any client keeps an idle connection: were the server the first to close, a
// request could be under way at that moment and be lost.
constexpr time_t keepAlive = 300; // s
constexpr time_t writeTimeout = 300; // s
constexpr int pollInterval = 20; // ms
constexpr size_t endlessChunk = 16384; // bytes

/** This process's end of the connection from @p request's client, -1 if there is none: the
 *  library hands out no socket. */
int socketOf(const httplib::Request &request)
{
    DIR *folder = opendir("/proc/self/fd");
    if (!folder)
        return -1;
    int found = -1;
    while (const dirent *entry = readdir(folder)) {
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        const int candidate = atoi(entry->d_name);
        if (entry->d_name[0] != '.'
            && getpeername(candidate, reinterpret_cast<sockaddr *>(&peer), &length) == 0
            && peer.sin_family == AF_INET && ntohs(peer.sin_port) == request.remote_port)
            found = candidate;
    }
    closedir(folder);
    return found;
}

/** Ends a connection by a reset, with no orderly end before it: dissolving the association
 *  of a connected socket does that, while closing it would send an end first. */
void reset(int socket)
{
    sockaddr nobody{};
    nobody.sa_family = AF_UNSPEC;
    static_cast<void>(connect(socket, &nobody, sizeof nobody));
}

QJsonObject describe(const httplib::Request &request, const StoreRequest &taken)
{
    static const char *const added[] = {"REMOTE_ADDR", "REMOTE_PORT", "LOCAL_ADDR", "LOCAL_PORT"};
    QJsonObject headers;
    for (const auto &header : request.headers) {
        if (std::none_of(std::begin(added), std::end(added),
                         [&](const char *name) { return header.first == name; }))
            headers.insert(QString::fromStdString(header.first),
                           QString::fromStdString(header.second));
    }
    return {{QStringLiteral("kind"), QStringLiteral("request")},
            {QStringLiteral("method"), taken.method},
            {QStringLiteral("path"), taken.rawPath},
            {QStringLiteral("query"), taken.rawQuery},
            {QStringLiteral("headers"), headers},
            {QStringLiteral("body"), QString::fromUtf8(taken.body)}};
}

/** The page with another successor; anything but a page stays as it is. */
QByteArray withNext(const QByteArray &page, const QString &next)
{
    QJsonObject object = QJsonDocument::fromJson(page).object();
    if (!object.contains(QLatin1String("meta")))
        return page;
    QJsonObject meta = object[QLatin1String("meta")].toObject();
    meta.insert(QStringLiteral("next"), next);
    object.insert(QStringLiteral("meta"), meta);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

HttpsServer::HttpsServer(StoreApi *api, FaultList *faults, Recorder recorder)
    : m_api(api)
    , m_faults(faults)
    , m_recorder(std::move(recorder))
{ }

HttpsServer::~HttpsServer()
{
    m_stopping = true;
    if (m_server)
        m_server->stop();
    if (m_thread.joinable())
        m_thread.join();
}

int HttpsServer::listen(const QString &certificate, const QString &key, int port, QString *problem)
{
    m_server = std::make_unique<httplib::SSLServer>(qPrintable(certificate), qPrintable(key));
    if (!m_server->is_valid()) {
        *problem =
            QStringLiteral("can't use the certificate %1 with the key %2").arg(certificate, key);
        return -1;
    }
    int listening = -1;
    m_server->set_socket_options([&listening](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        listening = socket;
    });
    m_server->new_task_queue = [] { return new httplib::ThreadPool(workers); };
    m_server->set_tcp_nodelay(true);
    m_server->set_keep_alive_max_count(1000000);
    m_server->set_keep_alive_timeout(keepAlive);
    m_server->set_read_timeout(keepAlive);
    m_server->set_write_timeout(writeTimeout);
    const auto handler = [this](const httplib::Request &request, httplib::Response &response) {
        serve(request, response);
    };
    const std::string everything = R"([\s\S]*)";
    m_server->Get(everything, handler);
    m_server->Post(everything, handler);
    m_server->Put(everything, handler);
    m_server->Delete(everything, handler);

    const std::string address = "127.0.0.1";
    if (port == 0)
        port = m_server->bind_to_any_port(address);
    else if (!m_server->bind_to_port(address, port))
        port = -1;
    if (port < 0) {
        *problem = QStringLiteral("can't listen: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        return -1;
    }
    ::listen(listening, backlog); // the library's own is 5, too few for a burst of clients
    m_thread = std::thread([this] { m_server->listen_after_bind(); });
    return port;
}

void HttpsServer::serve(const httplib::Request &request, httplib::Response &response)
{
    const QString target = QString::fromStdString(request.target);
    StoreRequest taken;
    taken.method = QString::fromStdString(request.method);
    taken.path = QString::fromStdString(request.path);
    taken.rawPath = target.section(QLatin1Char('?'), 0, 0);
    taken.rawQuery = target.section(QLatin1Char('?'), 1);
    taken.host = QString::fromStdString(request.get_header_value("Host"));
    taken.authorization = QString::fromStdString(request.get_header_value("Authorization"));
    taken.body = QByteArray::fromStdString(request.body);

    const Fault fault = m_faults->take(taken.method, target);
    StoreResponse answer;
    if (!fault.replacesAnswer())
        answer = m_api->answer(taken);
    else
        answer = {fault.status, fault.body};
    if (!fault.type.isEmpty())
        answer.type = fault.type;
    if (fault.kind == Fault::Kind::PageLoop)
        answer.body = withNext(answer.body, fault.next.isEmpty() ? target : fault.next);

    QJsonObject entry = describe(request, taken);
    entry.insert(QStringLiteral("status"), fault.early ? 0 : answer.status);
    if (fault.kind != Fault::Kind::None)
        entry.insert(QStringLiteral("fault"), Fault::name(fault.kind));
    m_recorder(entry);

    response.status = answer.status;
    const bool onWire = fault.kind == Fault::Kind::Cut || fault.kind == Fault::Kind::Reset
        || fault.kind == Fault::Kind::Endless || fault.kind == Fault::Kind::Hang;
    const int socket = onWire || fault.delay > 0 ? socketOf(request) : -1;
    if (fault.delay > 0)
        wait(socket, fault.delay);
    if (onWire)
        play(fault, answer, socket, response);
    else if (answer.status != 204)
        response.set_content(answer.body.toStdString(), answer.type.toStdString());
}

void HttpsServer::play(const Fault &fault, const StoreResponse &answer, int socket,
                       httplib::Response &response)
{
    if (fault.early) {
        if (fault.kind == Fault::Kind::Hang)
            wait(socket, -1);
        reset(socket);
        return;
    }
    const std::string type = answer.type.toStdString();
    if (fault.kind == Fault::Kind::Endless) {
        response.set_chunked_content_provider(
            type, [this, start = answer.body](size_t offset, httplib::DataSink &sink) {
                const std::string filler(endlessChunk, ' ');
                if (offset == 0 && !start.isEmpty())
                    return sink.write(start.constData(), size_t(start.size()));
                return !m_stopping && sink.write(filler.data(), filler.size());
            });
        return;
    }
    // One byte at least is announced and held back, so that an end is seen as too early.
    const size_t length = std::max<size_t>(size_t(answer.body.size()), 1);
    const size_t sent = std::min(fault.bytes < 0 ? length / 2 : size_t(fault.bytes), length - 1);
    response.set_content_provider(length, type,
                                  [this, fault, body = answer.body, sent,
                                   socket](size_t offset, size_t, httplib::DataSink &sink) {
                                      if (offset < sent)
                                          return sink.write(body.constData() + offset,
                                                            sent - offset);
                                      if (fault.kind == Fault::Kind::Hang)
                                          wait(socket, -1);
                                      else if (fault.kind == Fault::Kind::Reset)
                                          reset(socket);
                                      return false;
                                  });
}

void HttpsServer::wait(int socket, int milliseconds)
{
    const int generation = m_faults->generation();
    const QDeadlineTimer deadline(milliseconds < 0 ? QDeadlineTimer(QDeadlineTimer::Forever)
                                                   : QDeadlineTimer(milliseconds));
    while (!m_stopping && m_faults->generation() == generation && !deadline.hasExpired()) {
        pollfd client{socket, POLLRDHUP, 0};
        const int slice = milliseconds < 0
            ? pollInterval
            : int(std::min<qint64>(pollInterval, deadline.remainingTime()));
        if (poll(&client, 1, slice) > 0)
            return;
    }
}
