#include "webrequest.h"

#include <boost/asio/ip/address.hpp>
#include <boost/beast/version.hpp>

#include "panelkit/UniqueWidgetID.h"
#include "textutil.h"
#include "webassets.h"

namespace panelhost::web {

namespace {

std::string_view view(boost::beast::string_view text)
{
    return std::string_view(text.data(), text.size());
}

bool ascii(std::string_view text)
{
    for (char ch : text)
        if (static_cast<unsigned char>(ch) < 0x20 || static_cast<unsigned char>(ch) > 0x7e) return false;
    return true;
}

// The path of an origin-form target with its query taken off; nullopt for
// anything else (absolute form, "*", odd bytes, dot segments, escapes).
std::optional<std::string> assetPath(std::string_view target)
{
    if (target.empty() || target.size() > kMaxTargetBytes || target[0] != '/' || !ascii(target)) return std::nullopt;
    const auto query = target.find('?');
    std::string_view path = target.substr(0, query);
    if (path.find('%') != std::string_view::npos || path.find("..") != std::string_view::npos ||
        path.find("//") != std::string_view::npos || path.find('\\') != std::string_view::npos)
        return std::nullopt;
    if (path == "/") return std::string("/index.html");
    return std::string(path);
}

} // namespace

bool HostCheck::accepts(std::string_view host) const
{
    if (any) return true;
    for (const auto& a : allowed)
        if (host == a) return true;
    return false;
}

Response plain(const Request& request, http::status status, std::string_view text)
{
    Response r{status, request.version()};
    r.set(http::field::server, "panelhost");
    r.set(http::field::content_type, "text/plain; charset=utf-8");
    r.set(http::field::cache_control, "no-store");
    r.set("X-Content-Type-Options", "nosniff");
    r.keep_alive(false);
    r.body() = std::string(text) + "\n";
    r.prepare_payload();
    return r;
}

Response answer(const Request& request, const HostCheck& hosts)
{
    if (!hosts.accepts(view(request[http::field::host]))) return plain(request, http::status::forbidden, "unknown host");
    if (request.method() != http::verb::get && request.method() != http::verb::head)
        return plain(request, http::status::method_not_allowed, "only GET and HEAD");
    if (request.target().size() > kMaxTargetBytes) return plain(request, http::status::uri_too_long, "target too long");
    const auto path = assetPath(view(request.target()));
    if (!path) return plain(request, http::status::bad_request, "bad target");
    const Asset* asset = findAsset(*path);
    if (!asset) return plain(request, http::status::not_found, "no such file");
    Response r{http::status::ok, request.version()};
    r.set(http::field::server, "panelhost");
    r.set(http::field::content_type, boost::beast::string_view(asset->type.data(), asset->type.size()));
    r.set(http::field::cache_control, "no-store");
    r.set("X-Content-Type-Options", "nosniff");
    r.set("Content-Security-Policy",
          "default-src 'self'; connect-src 'self'; img-src 'self' data:; frame-ancestors 'none'");
    r.keep_alive(request.keep_alive());
    if (request.method() == http::verb::head) {
        r.content_length(asset->body.size());
    } else {
        r.body() = std::string(asset->body);
        r.prepare_payload();
    }
    return r;
}

std::optional<Response> refuseUpgrade(const Request& request, const HostCheck& hosts)
{
    const std::string_view host = view(request[http::field::host]);
    if (!hosts.accepts(host)) return plain(request, http::status::forbidden, "unknown host");
    if (view(request.target()) != kLivePath) return plain(request, http::status::not_found, "no such socket");
    const auto origin = request.find(http::field::origin);
    if (origin != request.end() && view(origin->value()) != "http://" + std::string(host))
        return plain(request, http::status::forbidden, "foreign origin");
    return std::nullopt;
}

bool isLoopback(const std::string& address)
{
    if (address == "localhost") return true;
    boost::system::error_code ec;
    const auto a = boost::asio::ip::make_address(address, ec);
    return !ec && a.is_loopback();
}

bool parseListen(const std::string& text, std::string& address, unsigned short& port, std::string& error)
{
    std::string host = "127.0.0.1";
    std::string portText = text;
    if (!text.empty() && text[0] == '[') {
        const auto close = text.find("]:");
        if (close == std::string::npos) {
            error = "[IPV6]:PORT";
            return false;
        }
        host = text.substr(1, close - 1);
        portText = text.substr(close + 2);
    } else if (const auto colon = text.rfind(':'); colon != std::string::npos) {
        host = text.substr(0, colon);
        portText = text.substr(colon + 1);
    }
    const auto number = parseInteger(portText);
    if (portText.empty() || !number || *number < 0 || *number > 65535 || portText[0] == '+' || portText[0] == '-') {
        error = "a port 0 to 65535 in [ADDRESS:]PORT, not " + text;
        return false;
    }
    if (host == "localhost") host = "127.0.0.1";
    boost::system::error_code ec;
    boost::asio::ip::make_address(host, ec);
    if (ec) {
        error = "an IP address in [ADDRESS:]PORT, not " + host;
        return false;
    }
    address = host;
    port = static_cast<unsigned short>(*number);
    return true;
}

Message parseMessage(std::string_view data)
{
    Message m;
    if (data.size() > kMaxMessageBytes) {
        m.text = "message too long";
        return m;
    }
    const auto blank = data.find(' ');
    const std::string_view verb = data.substr(0, blank);
    const std::string_view rest = blank == std::string_view::npos ? std::string_view() : data.substr(blank + 1);
    if (verb == "line") {
        if (rest.find('\n') != std::string_view::npos || rest.find('\r') != std::string_view::npos ||
            rest.find('\0') != std::string_view::npos) {
            m.text = "one line only";
            return m;
        }
        m.kind = MessageKind::Line;
        m.text = std::string(rest);
        return m;
    }
    MessageKind kind = MessageKind::Invalid;
    if (verb == "down") kind = MessageKind::Down;
    else if (verb == "hold") kind = MessageKind::Hold;
    else if (verb == "release") kind = MessageKind::Release;
    if (kind == MessageKind::Invalid) {
        m.text = "unknown message";
        return m;
    }
    if (!parseWidget(std::string(rest))) {
        m.text = "a widget W.G.M.N";
        return m;
    }
    m.kind = kind;
    m.text = std::string(rest);
    return m;
}

} // namespace panelhost::web
