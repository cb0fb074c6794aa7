// Feeds the input to the live panel's request handling: as the bytes of an
// HTTP request (through the parser with the server's limits, then the answer
// or the upgrade check), as a message from the page, and as a text written
// into the page's JSON. Nothing may crash, and every answer is a status the
// server sends: 200 with one of the page's own files, or a 4xx.
//
//   build/fuzz/bin/fuzz_web_request fuzz/corpus/web_request -runs=20000

#include <boost/beast/http.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "webassets.h"
#include "webjson.h"
#include "webrequest.h"

namespace http = boost::beast::http;
using namespace panelhost::web;

namespace {

void check(bool ok)
{
    if (!ok) std::abort();
}

void request(std::string_view bytes)
{
    http::request_parser<http::string_body> parser;
    parser.eager(true);
    parser.header_limit(static_cast<std::uint32_t>(kMaxHeaderBytes));
    parser.body_limit(kMaxBodyBytes);
    boost::beast::error_code ec;
    size_t used = 0;
    while (!ec && !parser.is_done() && used < bytes.size())
        used += parser.put(boost::asio::buffer(bytes.data() + used, bytes.size() - used), ec);
    if (ec || !parser.is_done()) return;
    const Request& r = parser.get();
    HostCheck hosts;
    hosts.allowed = {"127.0.0.1:8080", "localhost:8080"};
    const Response a = answer(r, hosts);
    const unsigned status = a.result_int();
    check(status == 200 || (status >= 400 && status < 500));
    if (status == 200 && r.method() == http::verb::get) {
        bool own = false;
        for (const char* path : {"/index.html", "/panel.css", "/panel.js"})
            if (const Asset* asset = findAsset(path); asset && asset->body == a.body()) own = true;
        check(own);
    }
    if (auto refusal = refuseUpgrade(r, hosts)) check(refusal->result_int() >= 400 && refusal->result_int() < 500);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    request(bytes);
    const Message m = parseMessage(bytes);
    check(m.kind != MessageKind::Line || m.text.find('\n') == std::string::npos);
    const std::string json = jsonString(bytes);
    check(json.size() >= 2 && json.front() == '"' && json.back() == '"');
    std::string address;
    unsigned short port = 0;
    std::string error;
    parseListen(std::string(bytes.substr(0, 64)), address, port, error);
    return 0;
}
