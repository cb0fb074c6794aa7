#pragma once

// The live panel's server: HTTP for the page's own files and a WebSocket
// (/live) that pushes what changes, coalesced every 50 ms, and takes the
// page's console lines and button gestures. It runs on a thread of its own;
// what the pages ask for runs on the command worker's thread, one command at
// a time with the console and the script.
//
//   panelhost::web::WebServer server(host, options);
//   std::string error;
//   if (!server.start(error)) ...;
//   std::cout << server.url();
//   ...
//   server.stop();

#include <memory>
#include <string>
#include <vector>

namespace panelhost {
class Host;
}

namespace panelhost::web {

struct WebOptions {
    std::string address = "127.0.0.1";
    unsigned short port = 0;           // 0: any free port (see port())
    std::string layout;                // the layout, a JSON document as text
    std::vector<std::string> fidNames; // for completion on the page
    int tickMs = 50;                   // how often changes are gathered and pushed
    size_t maxConnections = 64;        // more are closed at once
};

class WebServer {
public:
    WebServer(Host& host, WebOptions options);
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    // Binds and starts serving. False with a message when the address can't be had.
    bool start(std::string& error);
    unsigned short port() const;
    std::string url() const;
    // Blocks until the process gets SIGINT or SIGTERM (or stop is called).
    void waitForInterrupt();
    // Closes every connection, ends the threads. Idempotent.
    void stop();

    struct Impl; // the server's insides, known only to webserver.cpp

private:
    std::unique_ptr<Impl> m_impl;
};

} // namespace panelhost::web
