// The live panel's server: answers to plain and hostile requests, the checks
// of Host and Origin, the messages from the page, the JSON texts, and a running
// server on a loopback port: every hostile request gets a 4xx and the server
// goes on serving; a page's WebSocket gets the hello, its console lines run,
// and a burst of thousands of keys arrives in a few coalesced messages.

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <filesystem>

#include "layout.h"
#include "panelhost.h"
#include "webassets.h"
#include "webjson.h"
#include "webrequest.h"
#include "webserver.h"

using namespace panelhost;
using namespace panelhost::web;
namespace asio = boost::asio;
namespace beast = boost::beast;
using tcp = asio::ip::tcp;

namespace {

HostCheck loopback8080()
{
    HostCheck h;
    h.allowed = {"127.0.0.1:8080", "localhost:8080"};
    return h;
}

Request get(const std::string& target, const std::string& host = "127.0.0.1:8080")
{
    Request r{http::verb::get, target, 11};
    r.set(http::field::host, host);
    return r;
}

TEST(WebRequest, ServesThePageAndItsFilesOnly)
{
    const auto hosts = loopback8080();
    Response r = answer(get("/"), hosts);
    EXPECT_EQ(r.result_int(), 200u);
    EXPECT_EQ(r.body(), std::string(findAsset("/index.html")->body));
    EXPECT_EQ(r[http::field::content_type], "text/html; charset=utf-8");
    EXPECT_EQ(answer(get("/panel.js?v=2"), hosts).result_int(), 200u);
    EXPECT_EQ(answer(get("/panel.css"), hosts).result_int(), 200u);
    EXPECT_EQ(answer(get("/nothing.txt"), hosts).result_int(), 404u);
    EXPECT_EQ(answer(get("/../etc/passwd"), hosts).result_int(), 400u);
    EXPECT_EQ(answer(get("/%2e%2e/etc/passwd"), hosts).result_int(), 400u);
    EXPECT_EQ(answer(get("//etc/passwd"), hosts).result_int(), 400u);
    EXPECT_EQ(answer(get("http://127.0.0.1:8080/"), hosts).result_int(), 400u);
    EXPECT_EQ(answer(get("*"), hosts).result_int(), 400u);
    EXPECT_EQ(answer(get("/" + std::string(600, 'a')), hosts).result_int(), 414u);
    Request post = get("/index.html");
    post.method(http::verb::post);
    EXPECT_EQ(answer(post, hosts).result_int(), 405u);
    Request head = get("/panel.js");
    head.method(http::verb::head);
    const Response h = answer(head, hosts);
    EXPECT_EQ(h.result_int(), 200u);
    EXPECT_TRUE(h.body().empty());
    EXPECT_EQ(h[http::field::content_length], std::to_string(findAsset("/panel.js")->body.size()));
}

TEST(WebRequest, RefusesForeignHostsAndOrigins)
{
    const auto hosts = loopback8080();
    EXPECT_EQ(answer(get("/", "evil.example:8080"), hosts).result_int(), 403u);
    EXPECT_EQ(answer(get("/", ""), hosts).result_int(), 403u);
    Request up = get("/live", "localhost:8080");
    EXPECT_FALSE(refuseUpgrade(up, hosts));
    up.set(http::field::origin, "http://localhost:8080");
    EXPECT_FALSE(refuseUpgrade(up, hosts));
    up.set(http::field::origin, "http://evil.example");
    ASSERT_TRUE(refuseUpgrade(up, hosts));
    EXPECT_EQ(refuseUpgrade(up, hosts)->result_int(), 403u);
    EXPECT_EQ(refuseUpgrade(get("/other"), hosts)->result_int(), 404u);
    HostCheck any;
    any.any = true;
    EXPECT_EQ(answer(get("/", "whatever:1"), any).result_int(), 200u);
}

TEST(WebRequest, ParsesTheListeningAddress)
{
    std::string address;
    unsigned short port = 0;
    std::string error;
    ASSERT_TRUE(parseListen("8080", address, port, error));
    EXPECT_EQ(address, "127.0.0.1");
    EXPECT_EQ(port, 8080);
    ASSERT_TRUE(parseListen("0.0.0.0:81", address, port, error));
    EXPECT_EQ(address, "0.0.0.0");
    ASSERT_TRUE(parseListen("[::1]:9000", address, port, error));
    EXPECT_EQ(address, "::1");
    ASSERT_TRUE(parseListen("localhost:0", address, port, error));
    EXPECT_EQ(address, "127.0.0.1");
    EXPECT_FALSE(parseListen("70000", address, port, error));
    EXPECT_FALSE(parseListen("-1", address, port, error));
    EXPECT_FALSE(parseListen("host.example:80", address, port, error));
    EXPECT_FALSE(parseListen("", address, port, error));
    EXPECT_TRUE(isLoopback("127.0.0.1"));
    EXPECT_TRUE(isLoopback("::1"));
    EXPECT_FALSE(isLoopback("0.0.0.0"));
}

TEST(WebRequest, ParsesThePagesMessages)
{
    EXPECT_EQ(parseMessage("line publish A = 1").kind, MessageKind::Line);
    EXPECT_EQ(parseMessage("line publish A = 1").text, "publish A = 1");
    EXPECT_EQ(parseMessage("down 0.1.2.3").kind, MessageKind::Down);
    EXPECT_EQ(parseMessage("hold 0.1.2.3").kind, MessageKind::Hold);
    EXPECT_EQ(parseMessage("release 0.1.2.3").text, "0.1.2.3");
    EXPECT_EQ(parseMessage("down 9.1.2.3").kind, MessageKind::Invalid);
    EXPECT_EQ(parseMessage("down 0.1.2").kind, MessageKind::Invalid);
    EXPECT_EQ(parseMessage("line a\nstop").kind, MessageKind::Invalid);
    EXPECT_EQ(parseMessage("explode").kind, MessageKind::Invalid);
    EXPECT_EQ(parseMessage("line " + std::string(kMaxMessageBytes, 'x')).kind, MessageKind::Invalid);
}

TEST(WebJson, WritesValidUtf8WhateverTheBytes)
{
    EXPECT_EQ(jsonString("a\"b\\c\n"), "\"a\\\"b\\\\c\\n\"");
    EXPECT_EQ(jsonString(std::string("\x01", 1)), "\"\\u0001\"");
    EXPECT_EQ(jsonString("Gr\xc3\xbc\xc3\x9f"), "\"Gr\xc3\xbc\xc3\x9f\"");
    EXPECT_EQ(jsonString("\xff"), "\"\\ufffd\"");
    EXPECT_EQ(jsonString("\xc3"), "\"\\ufffd\"");
    EXPECT_EQ(jsonString("\xed\xa0\x80"), "\"\\ufffd\\ufffd\\ufffd\""); // a surrogate
    EXPECT_EQ(jsonString("\xc0\xaf"), "\"\\ufffd\\ufffd\"");             // overlong
}

TEST(WebLayout, ChecksTheLayoutFile)
{
    std::string error;
    EXPECT_TRUE(checkLayout(std::string(defaultLayout()), error)) << error;
    EXPECT_TRUE(checkLayout("{\"workplaces\": []}", error));
    EXPECT_FALSE(checkLayout("{\"workplaces\": [}", error));
    EXPECT_NE(error.find("line 1"), std::string::npos) << error;
    EXPECT_FALSE(checkLayout("[1,2]", error));
    EXPECT_FALSE(checkLayout("{\"modules\": []}", error));
    EXPECT_FALSE(checkLayout("", error));
}

// ---- a running server ----------------------------------------------------

class LiveServer : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_dir = std::filesystem::temp_directory_path() / ("webserver-test-" + std::to_string(::getpid()));
        std::filesystem::create_directories(m_dir);
        HostOptions options;
        options.modulePath = PANELMFD_MODULE_PATH;
        options.runDir = m_dir.string();
        options.captureLog = false;
        m_host = std::make_unique<Host>(options);
        WebOptions web;
        web.layout = std::string(defaultLayout());
        web.fidNames = {"MACRO0.RECALL", "SETVAR"};
        m_server = std::make_unique<WebServer>(*m_host, web);
        std::string error;
        ASSERT_TRUE(m_server->start(error)) << error;
        ASSERT_NE(m_server->port(), 0);
    }
    void TearDown() override
    {
        m_server.reset();
        m_host.reset();
        std::error_code ec;
        std::filesystem::remove_all(m_dir, ec);
    }

    // Sends raw bytes, answers the status line (empty if the server only hung up).
    std::string raw(const std::string& bytes)
    {
        asio::io_context io;
        tcp::socket socket(io);
        socket.connect(tcp::endpoint(asio::ip::make_address("127.0.0.1"), m_server->port()));
        boost::system::error_code ec;
        asio::write(socket, asio::buffer(bytes), ec);
        socket.shutdown(tcp::socket::shutdown_send, ec);
        std::string got;
        char buf[4096];
        for (;;) {
            const size_t n = socket.read_some(asio::buffer(buf), ec);
            got.append(buf, n);
            if (ec) break;
        }
        return got.substr(0, got.find("\r\n"));
    }

    std::string host() const { return "127.0.0.1:" + std::to_string(m_server->port()); }

    std::filesystem::path m_dir;
    std::unique_ptr<Host> m_host;
    std::unique_ptr<WebServer> m_server;
};

TEST_F(LiveServer, HostileRequestsGetA4xxAndTheServerGoesOn)
{
    const std::string h = "Host: " + host() + "\r\n";
    EXPECT_EQ(raw("GET / HTTP/1.1\r\n" + h + "\r\n"), "HTTP/1.1 200 OK");
    EXPECT_EQ(raw("GET /../../etc/passwd HTTP/1.1\r\n" + h + "\r\n"), "HTTP/1.1 400 Bad Request");
    EXPECT_EQ(raw("GET /secret HTTP/1.1\r\n" + h + "\r\n"), "HTTP/1.1 404 Not Found");
    EXPECT_EQ(raw("DELETE / HTTP/1.1\r\n" + h + "\r\n"), "HTTP/1.1 405 Method Not Allowed");
    EXPECT_EQ(raw("GET / HTTP/1.1\r\nHost: attacker.example\r\n\r\n"), "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(raw("GARBAGE\x01\x02\r\n\r\n"), "HTTP/1.1 400 Bad Request");
    EXPECT_EQ(raw("GET / HTTP/1.1\r\n" + h + "X-Big: " + std::string(20000, 'a') + "\r\n\r\n"),
              "HTTP/1.1 431 Request Header Fields Too Large");
    EXPECT_EQ(raw("POST / HTTP/1.1\r\n" + h + "Content-Length: 100000\r\n\r\n" + std::string(3000, 'b')),
              "HTTP/1.1 413 Payload Too Large");
    EXPECT_EQ(raw("GET /live HTTP/1.1\r\n" + h +
                  "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                  "Sec-WebSocket-Version: 13\r\nOrigin: http://attacker.example\r\n\r\n"),
              "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(raw("GET /live HTTP/1.1\r\n" + h + "Upgrade: websocket\r\nConnection: Upgrade\r\n\r\n"),
              "HTTP/1.1 400 Bad Request");
    EXPECT_EQ(raw(std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11)), "HTTP/1.1 400 Bad Request");
    EXPECT_EQ(raw(""), "");
    // And it still serves.
    EXPECT_EQ(raw("GET /panel.js HTTP/1.1\r\n" + h + "\r\n"), "HTTP/1.1 200 OK");
}

class Page {
public:
    explicit Page(unsigned short port) : m_ws(m_io)
    {
        tcp::resolver resolver(m_io);
        beast::get_lowest_layer(m_ws).connect(resolver.resolve("127.0.0.1", std::to_string(port)));
        m_ws.handshake("127.0.0.1:" + std::to_string(port), "/live");
        beast::get_lowest_layer(m_ws).expires_never();
    }
    // The next message, or the empty text after timeoutMs.
    std::string next(int timeoutMs)
    {
        beast::get_lowest_layer(m_ws).expires_after(std::chrono::milliseconds(timeoutMs));
        beast::flat_buffer buffer;
        beast::error_code ec;
        m_ws.read(buffer, ec);
        if (ec) return std::string();
        return beast::buffers_to_string(buffer.data());
    }
    // Reads until what came so far holds `text` (each text is found once);
    // false after timeoutMs.
    bool waitFor(const std::string& text, int timeoutMs, int* messages = nullptr)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        for (;;) {
            if (const auto at = m_seen.find(text); at != std::string::npos) {
                m_seen.erase(0, at + text.size());
                return true;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) return false;
            const std::string m = next(static_cast<int>(left.count()) + 1);
            if (m.empty()) return false;
            if (messages) ++*messages;
            m_seen += m;
        }
    }
    void send(const std::string& text) { m_ws.write(asio::buffer(text)); }

private:
    asio::io_context m_io;
    beast::websocket::stream<beast::tcp_stream> m_ws;
    std::string m_seen;
};

TEST_F(LiveServer, APageGetsTheHelloAndItsLinesRun)
{
    Page page(m_server->port());
    const std::string hello = page.next(5000);
    ASSERT_NE(hello.find("\"t\":\"hello\""), std::string::npos) << hello.substr(0, 200);
    EXPECT_NE(hello.find("\"Macro keys\""), std::string::npos);
    EXPECT_NE(hello.find("\"MACRO0.RECALL\""), std::string::npos);
    page.send("line publish WEB.TYPED = on the page");
    EXPECT_TRUE(page.waitFor("[\"WEB.TYPED\",\"on the page\",\"text\",", 5000));
    EXPECT_EQ(m_host->state().text("WEB.TYPED"), "on the page");
    page.send("line publish");
    EXPECT_TRUE(page.waitFor("malformed:", 5000));
    page.send("explode");
    EXPECT_TRUE(page.waitFor("refused: unknown message", 5000));
}

TEST_F(LiveServer, ABurstOfKeysComesInAFewMessages)
{
    Page page(m_server->port());
    ASSERT_NE(page.next(5000).find("hello"), std::string::npos);
    for (int i = 0; i < 3000; ++i) m_host->state().publish("BURST.KEY" + std::to_string(i), "v");
    int messages = 0;
    ASSERT_TRUE(page.waitFor("\"BURST.KEY2999\"", 10000, &messages));
    // 3000 keys and as many changes: coalesced per tick, not one message each.
    EXPECT_LT(messages, 20) << messages << " messages";
}

TEST_F(LiveServer, TheMouseRunsTheButtonChainOnTheStartedModule)
{
    std::string error;
    ASSERT_TRUE(m_host->start({}, error)) << error;
    Page page(m_server->port());
    ASSERT_NE(page.next(5000).find("hello"), std::string::npos);
    const size_t calls = m_host->recorder().size(Stream::Calls);
    const size_t events = m_host->recorder().size(Stream::Events);
    page.send("down 0.1.2.3");
    page.send("hold 0.1.2.3");
    page.send("release 0.1.2.3");
    page.send("line fid SETVAR NAME=SPEED VALUE=3 @1.4.12.300");
    auto call = [&](const std::string& text) {
        return m_host->recorder().waitFor(Stream::Calls, calls, [&](const Entry& e) { return e.text == text; }, 10000);
    };
    // Down runs the chain: the event of the button, then its own function.
    EXPECT_TRUE(m_host->recorder().waitFor(
        Stream::Events, events, [](const Entry& e) { return e.text == "BUTTON.0.1.2.DOWN = 3"; }, 10000));
    EXPECT_TRUE(call("Host.buttonFunction 0.1.2.3"));
    EXPECT_TRUE(call("IEventManager.setVar 1.4.12 SPEED 3"));
    EXPECT_TRUE(page.waitFor("down 0.1.2.3: done", 10000));
    EXPECT_TRUE(page.waitFor("> fid SETVAR NAME=SPEED VALUE=3 @1.4.12.300", 10000));
    m_server->stop();
    m_host->stop();
}

} // namespace
