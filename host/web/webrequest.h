#pragma once

// What the live panel's server answers, as plain functions of the request, so
// that they can be tested and fuzzed without a socket: the HTTP answer for a
// request (only the page's own files, GET and HEAD), the checks of the Host
// and Origin headers, the parse of the listening address and of the messages
// the page sends over its WebSocket.

#include <boost/beast/http.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace panelhost::web {

namespace http = boost::beast::http;
using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;

// Limits of what a request may bring.
constexpr size_t kMaxHeaderBytes = 8 * 1024;
constexpr size_t kMaxBodyBytes = 1024;
constexpr size_t kMaxTargetBytes = 512;
constexpr size_t kMaxMessageBytes = 8 * 1024;

// The path of the WebSocket that pushes the updates.
constexpr std::string_view kLivePath = "/live";

// Who may be asked for: the Host header's value must be one of these unless
// `any` (a server bound to every address).
struct HostCheck {
    bool any = false;
    std::vector<std::string> allowed; // "127.0.0.1:8080", "localhost:8080", ...
    bool accepts(std::string_view host) const;
};

// The answer to a plain request (not an upgrade): 200 with an asset, or a 4xx.
Response answer(const Request& request, const HostCheck& hosts);

// Whether a WebSocket upgrade may go on: the Host is accepted, the path is the
// live path, and an Origin, when there is one, is this server's own page.
// Otherwise the 4xx to send instead.
std::optional<Response> refuseUpgrade(const Request& request, const HostCheck& hosts);

// A response with a short text body.
Response plain(const Request& request, http::status status, std::string_view text);

// "[ADDRESS:]PORT", ADDRESS a dotted IPv4 address, "localhost" or an IPv6
// address in brackets. False with a message otherwise.
bool parseListen(const std::string& text, std::string& address, unsigned short& port, std::string& error);
// Loopback addresses (127.0.0.0/8, ::1).
bool isLoopback(const std::string& address);

// What the page sends: "line TEXT" (a console line), "down W.G.M.N",
// "hold W.G.M.N", "release W.G.M.N".
enum class MessageKind { Line, Down, Hold, Release, Invalid };
struct Message {
    MessageKind kind = MessageKind::Invalid;
    std::string text;   // the line, the widget "W.G.M.N", or why it is invalid
};
Message parseMessage(std::string_view data);

} // namespace panelhost::web
