#include "webserver.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include "commandworker.h"
#include "livefeed.h"
#include "webrequest.h"

namespace panelhost::web {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;

namespace {

constexpr auto kReadTimeout = std::chrono::seconds(15);
constexpr size_t kMaxQueuedMessages = 64;

} // namespace

class LiveSession;
class HttpSession;

struct WebServer::Impl {
    Impl(Host& host, WebOptions opts)
        : options(std::move(opts)),
          feed(host, FeedSettings{options.layout, options.fidNames}),
          worker(host, [this](const std::string& text) { feed.addReply(text); })
    {
    }

    void accept();
    void tick();
    void broadcast(const std::string& message);
    void closeAll();
    bool roomFor() const { return http.size() + live.size() < options.maxConnections; }

    WebOptions options;
    asio::io_context io{1};
    tcp::acceptor acceptor{io};
    asio::steady_timer timer{io};
    asio::steady_timer retry{io};
    asio::signal_set signals{io};
    HostCheck hosts;
    LiveFeed feed;
    CommandWorker worker;
    std::set<std::shared_ptr<HttpSession>> http;
    std::set<std::shared_ptr<LiveSession>> live;
    std::thread thread;
    unsigned short boundPort = 0;
    bool started = false;
    bool stopped = false;

    std::mutex interruptMutex;
    std::condition_variable interrupted;
    bool interruptFlag = false;
};

// One WebSocket: the hello, then every update; lines and gestures go to the worker.
class LiveSession : public std::enable_shared_from_this<LiveSession> {
public:
    LiveSession(tcp::socket socket, WebServer::Impl& server) : m_ws(std::move(socket)), m_server(server) {}

    void run(Request request)
    {
        m_ws.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
        m_ws.set_option(websocket::stream_base::decorator(
            [](websocket::response_type& r) { r.set(http::field::server, "panelhost"); }));
        m_ws.read_message_max(kMaxMessageBytes);
        m_request = std::move(request);
        m_ws.async_accept(m_request, [self = shared_from_this()](beast::error_code ec) { self->accepted(ec); });
    }

    void send(std::shared_ptr<const std::string> message)
    {
        if (m_closing) return;
        if (m_queue.size() >= kMaxQueuedMessages) {
            // A page that can't keep up is let go; it reconnects and starts afresh.
            close();
            return;
        }
        m_queue.push_back(std::move(message));
        if (m_queue.size() == 1) write();
    }

    void close()
    {
        if (m_closing) return;
        m_closing = true;
        beast::error_code ec;
        beast::get_lowest_layer(m_ws).socket().shutdown(tcp::socket::shutdown_both, ec);
        beast::get_lowest_layer(m_ws).socket().close(ec);
        m_server.live.erase(shared_from_this());
    }

private:
    void accepted(beast::error_code ec)
    {
        if (ec) return close();
        m_ws.text(true);
        send(std::make_shared<const std::string>(m_server.feed.hello()));
        read();
    }

    void read()
    {
        m_ws.async_read(m_buffer, [self = shared_from_this()](beast::error_code ec, size_t) { self->got(ec); });
    }

    void got(beast::error_code ec)
    {
        if (ec) return close();
        if (!m_ws.got_text()) {
            m_server.feed.addReply("refused: a binary message");
        } else {
            const std::string data = beast::buffers_to_string(m_buffer.data());
            m_server.worker.submit(parseMessage(data));
        }
        m_buffer.consume(m_buffer.size());
        read();
    }

    void write()
    {
        m_ws.async_write(asio::buffer(*m_queue.front()),
                         [self = shared_from_this()](beast::error_code ec, size_t) { self->written(ec); });
    }

    void written(beast::error_code ec)
    {
        if (ec) return close();
        m_queue.pop_front();
        if (!m_queue.empty() && !m_closing) write();
    }

    websocket::stream<beast::tcp_stream> m_ws;
    WebServer::Impl& m_server;
    Request m_request;
    beast::flat_buffer m_buffer;
    std::deque<std::shared_ptr<const std::string>> m_queue;
    bool m_closing = false;
};

// One HTTP connection: requests for the page's files, or the upgrade to /live.
class HttpSession : public std::enable_shared_from_this<HttpSession> {
public:
    HttpSession(tcp::socket socket, WebServer::Impl& server) : m_stream(std::move(socket)), m_server(server) {}

    void run() { read(); }

    void close()
    {
        beast::error_code ec;
        m_stream.socket().shutdown(tcp::socket::shutdown_both, ec);
        m_stream.socket().close(ec);
        m_server.http.erase(shared_from_this());
    }

private:
    void read()
    {
        m_parser.emplace();
        m_parser->header_limit(static_cast<std::uint32_t>(kMaxHeaderBytes));
        m_parser->body_limit(kMaxBodyBytes);
        m_stream.expires_after(kReadTimeout);
        http::async_read(m_stream, m_buffer, *m_parser,
                         [self = shared_from_this()](beast::error_code ec, size_t) { self->got(ec); });
    }

    void got(beast::error_code ec)
    {
        if (ec == http::error::end_of_stream || ec == beast::error::timeout || ec == asio::error::operation_aborted ||
            ec == asio::error::connection_reset || ec == asio::error::eof)
            return close();
        if (ec) {
            // Malformed: say so and hang up.
            Request blank;
            blank.version(11);
            http::status status = http::status::bad_request;
            if (ec == http::error::header_limit) status = http::status::request_header_fields_too_large;
            else if (ec == http::error::body_limit) status = http::status::payload_too_large;
            return reply(plain(blank, status, "malformed request"), false);
        }
        Request request = m_parser->release();
        if (websocket::is_upgrade(request)) {
            if (auto refusal = refuseUpgrade(request, m_server.hosts)) return reply(std::move(*refusal), false);
            m_stream.expires_never();
            auto live = std::make_shared<LiveSession>(m_stream.release_socket(), m_server);
            m_server.live.insert(live);
            m_server.http.erase(shared_from_this());
            live->run(std::move(request));
            return;
        }
        Response response = answer(request, m_server.hosts);
        const bool again = response.keep_alive() && request.keep_alive();
        reply(std::move(response), again);
    }

    void reply(Response response, bool again)
    {
        m_response = std::make_shared<Response>(std::move(response));
        m_response->keep_alive(again);
        m_stream.expires_after(kReadTimeout);
        http::async_write(m_stream, *m_response, [self = shared_from_this(), again](beast::error_code ec, size_t) {
            if (ec) return self->close();
            if (!again) return self->linger();
            self->read();
        });
    }

    // After the last answer: no more sending, and what the client still sends
    // is read and dropped for a moment, so that closing doesn't reset the
    // connection before the client has read the answer.
    void linger()
    {
        beast::error_code ec;
        m_stream.socket().shutdown(tcp::socket::shutdown_send, ec);
        m_stream.expires_after(std::chrono::seconds(2));
        drop();
    }

    void drop()
    {
        m_stream.async_read_some(asio::buffer(m_scratch), [self = shared_from_this()](beast::error_code ec, size_t) {
            if (ec) return self->close();
            self->drop();
        });
    }

    beast::tcp_stream m_stream;
    WebServer::Impl& m_server;
    beast::flat_buffer m_buffer{kMaxHeaderBytes + kMaxBodyBytes};
    std::optional<http::request_parser<http::string_body>> m_parser;
    std::shared_ptr<Response> m_response;
    char m_scratch[4096];
};

void WebServer::Impl::accept()
{
    acceptor.async_accept([this](beast::error_code ec, tcp::socket socket) {
        if (ec == asio::error::operation_aborted || !acceptor.is_open()) return;
        if (ec) {
            // Out of descriptors or the like: try again in a moment, not in a spin.
            retry.expires_after(std::chrono::milliseconds(100));
            retry.async_wait([this](beast::error_code e) {
                if (!e) accept();
            });
            return;
        }
        {
            if (roomFor()) {
                auto session = std::make_shared<HttpSession>(std::move(socket), *this);
                http.insert(session);
                session->run();
            } else {
                beast::error_code ignored;
                socket.close(ignored);
            }
        }
        accept();
    });
}

void WebServer::Impl::tick()
{
    timer.expires_after(std::chrono::milliseconds(options.tickMs));
    timer.async_wait([this](beast::error_code ec) {
        if (ec) return;
        const std::string message = feed.update();
        if (!message.empty()) broadcast(message);
        tick();
    });
}

void WebServer::Impl::broadcast(const std::string& message)
{
    auto shared = std::make_shared<const std::string>(message);
    const auto sessions = live; // a slow one leaves the set while we walk
    for (const auto& s : sessions) s->send(shared);
}

void WebServer::Impl::closeAll()
{
    beast::error_code ec;
    acceptor.close(ec);
    timer.cancel();
    retry.cancel();
    signals.cancel(ec);
    const auto h = http;
    for (const auto& s : h) s->close();
    const auto l = live;
    for (const auto& s : l) s->close();
}

WebServer::WebServer(Host& host, WebOptions options) : m_impl(std::make_unique<Impl>(host, std::move(options))) {}

WebServer::~WebServer()
{
    stop();
}

bool WebServer::start(std::string& error)
{
    Impl& s = *m_impl;
    if (s.started) return true;
    beast::error_code ec;
    const auto address = asio::ip::make_address(s.options.address, ec);
    if (ec) {
        error = "not an IP address: " + s.options.address;
        return false;
    }
    const tcp::endpoint endpoint(address, s.options.port);
    s.acceptor.open(endpoint.protocol(), ec);
    if (!ec) s.acceptor.set_option(asio::socket_base::reuse_address(true), ec);
    if (!ec) s.acceptor.bind(endpoint, ec);
    if (!ec) s.acceptor.listen(asio::socket_base::max_listen_connections, ec);
    if (ec) {
        error = "cannot listen on " + s.options.address + ":" + std::to_string(s.options.port) + ": " + ec.message();
        beast::error_code ignored;
        s.acceptor.close(ignored);
        return false;
    }
    s.boundPort = s.acceptor.local_endpoint().port();
    const std::string port = std::to_string(s.boundPort);
    if (address.is_unspecified()) {
        s.hosts.any = true;
    } else {
        const std::string shown = address.is_v6() ? "[" + address.to_string() + "]" : address.to_string();
        s.hosts.allowed.push_back(shown + ":" + port);
        if (address.is_loopback()) {
            s.hosts.allowed.push_back("localhost:" + port);
            s.hosts.allowed.push_back("127.0.0.1:" + port);
            s.hosts.allowed.push_back("[::1]:" + port);
        }
    }
    s.accept();
    s.tick();
    s.started = true;
    s.thread = std::thread([&s] { s.io.run(); });
    return true;
}

unsigned short WebServer::port() const
{
    return m_impl->boundPort;
}

std::string WebServer::url() const
{
    const Impl& s = *m_impl;
    beast::error_code ec;
    const auto address = asio::ip::make_address(s.options.address, ec);
    std::string host = s.options.address;
    if (!ec && address.is_v6()) host = "[" + host + "]";
    return "http://" + host + ":" + std::to_string(s.boundPort) + "/";
}

void WebServer::waitForInterrupt()
{
    Impl& s = *m_impl;
    if (!s.started) return;
    asio::post(s.io, [&s] {
        beast::error_code ec;
        s.signals.add(SIGINT, ec);
        s.signals.add(SIGTERM, ec);
        s.signals.async_wait([&s](beast::error_code, int) {
            std::lock_guard<std::mutex> lock(s.interruptMutex);
            s.interruptFlag = true;
            s.interrupted.notify_all();
        });
    });
    std::unique_lock<std::mutex> lock(s.interruptMutex);
    s.interrupted.wait(lock, [&s] { return s.interruptFlag; });
}

void WebServer::stop()
{
    Impl& s = *m_impl;
    if (s.stopped) return;
    s.stopped = true;
    if (s.started) {
        asio::post(s.io, [&s] {
            s.closeAll();
            s.io.stop();
        });
        s.thread.join();
    }
    s.worker.stop();
    {
        std::lock_guard<std::mutex> lock(s.interruptMutex);
        s.interruptFlag = true;
    }
    s.interrupted.notify_all();
    s.live.clear();
    s.http.clear();
}

} // namespace panelhost::web
