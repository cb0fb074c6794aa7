// Drives the live panel in a real browser through the DevTools protocol (a
// small client over Boost.Beast's WebSocket): panelhost runs live_setup.panel
// with --web on a free loopback port, a headless chromium opens the page, and
// the check asserts that
//   1. the page loads and shows PANEL.LOADED in the state table;
//   2. button 0.1.2.3 is drawn in its REPL colour (CYAN), and a click-and-hold
//      on it with the mouse sends its replace macro's recall (shown in the
//      "FIDs sent" stream) and turns it ORANGE as the driver plays;
//   3. a console line typed into the command line changes the state table;
//   4. a macro recorded from the command line is attached with the mouse (the
//      attach button kept held with Shift, a click-and-hold on the target),
//      and a click on the target sends its recall;
// then saves a screenshot. Where no chromium is installed or it can't start,
// it says why and exits 77 (skipped).
//
//   web_browser_check PANELHOST MODULE LAYOUT SETUP_SCRIPT OUT_DIR

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace fs = std::filesystem;
using tcp = asio::ip::tcp;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kSkipped = 77;

struct Child {
    pid_t pid = -1;
    int out = -1; // read end of its standard output or error
};

Child spawn(const std::vector<std::string>& args, bool stderrToPipe)
{
    int fds[2];
    if (::pipe(fds) != 0) return {};
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(fds[1], stderrToPipe ? STDERR_FILENO : STDOUT_FILENO);
        ::close(fds[0]);
        ::close(fds[1]);
        std::vector<char*> argv;
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(fds[1]);
    return Child{pid, fds[0]};
}

// Reads the child's output until a line matches; the match, or nullopt after
// the time-out or at the end of its output. `seen` keeps what was read.
std::optional<std::vector<std::string>> readUntil(const Child& c, const std::regex& pattern, int timeoutMs, std::string& seen)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    size_t scanned = 0;
    for (;;) {
        size_t end;
        while ((end = seen.find('\n', scanned)) != std::string::npos) {
            const std::string line = seen.substr(scanned, end - scanned);
            scanned = end + 1;
            std::smatch m;
            if (std::regex_search(line, m, pattern)) return std::vector<std::string>(m.begin(), m.end());
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) return std::nullopt;
        pollfd p{c.out, POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(left)) <= 0) return std::nullopt;
        char buf[4096];
        const ssize_t n = ::read(c.out, buf, sizeof buf);
        if (n <= 0) return std::nullopt;
        seen.append(buf, static_cast<size_t>(n));
    }
}

// Keeps a child's pipe drained so that it never blocks on a full pipe.
std::thread drain(int fd, std::string& into)
{
    return std::thread([fd, &into] {
        char buf[4096];
        ssize_t n;
        while ((n = ::read(fd, buf, sizeof buf)) > 0) into.append(buf, static_cast<size_t>(n));
    });
}

// Waits for a child to end; kills it after timeoutMs. Answers its exit status (-1 killed).
int reap(pid_t pid, int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    int status = 0;
    for (;;) {
        const pid_t r = ::waitpid(pid, &status, WNOHANG);
        if (r == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        if (r < 0 || Clock::now() >= deadline) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ::kill(pid, SIGKILL);
    ::waitpid(pid, &status, 0);
    return -1;
}

std::string json(const std::string& text)
{
    std::string out = "\"";
    for (char ch : text) {
        if (ch == '"' || ch == '\\') out += '\\';
        if (ch == '\n') {
            out += "\\n";
            continue;
        }
        out += ch;
    }
    return out + "\"";
}

std::string decodeBase64(const std::string& in)
{
    auto value = [](char c) -> int {
        if (c >= 'A' && c <= 'Z') return c - 'A';
        if (c >= 'a' && c <= 'z') return c - 'a' + 26;
        if (c >= '0' && c <= '9') return c - '0' + 52;
        if (c == '+') return 62;
        if (c == '/') return 63;
        return -1;
    };
    std::string out;
    unsigned bits = 0;
    int count = 0;
    for (char c : in) {
        const int v = value(c);
        if (v < 0) continue;
        bits = (bits << 6) | static_cast<unsigned>(v);
        count += 6;
        if (count >= 8) {
            count -= 8;
            out += static_cast<char>((bits >> count) & 0xFF);
        }
    }
    return out;
}

// The DevTools protocol over one WebSocket: commands by id, one page session.
class DevTools {
public:
    DevTools(const std::string& host, const std::string& port, const std::string& path) : m_ws(m_io)
    {
        tcp::resolver resolver(m_io);
        beast::get_lowest_layer(m_ws).connect(resolver.resolve(host, port));
        m_ws.read_message_max(64 * 1024 * 1024);
        m_ws.handshake(host + ":" + port, path);
    }

    // Sends a command (to the page session when `toPage`) and waits for its answer.
    boost::property_tree::ptree call(const std::string& method, const std::string& params, bool toPage = true,
                                     int timeoutMs = 15000)
    {
        const int id = ++m_next;
        std::string message = "{\"id\":" + std::to_string(id) + ",\"method\":" + json(method) + ",\"params\":" + params;
        if (toPage && !m_session.empty()) message += ",\"sessionId\":" + json(m_session);
        message += "}";
        m_ws.write(asio::buffer(message));
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        for (;;) {
            if (Clock::now() >= deadline) throw std::runtime_error("no answer to " + method);
            beast::get_lowest_layer(m_ws).expires_at(deadline);
            beast::flat_buffer buffer;
            m_ws.read(buffer);
            const std::string text = beast::buffers_to_string(buffer.data());
            if (text.find("\"id\":" + std::to_string(id) + ",") == std::string::npos &&
                text.find("\"id\":" + std::to_string(id) + "}") == std::string::npos)
                continue; // an event, or another answer
            boost::property_tree::ptree tree;
            std::istringstream in(text);
            boost::property_tree::read_json(in, tree);
            if (tree.get_optional<int>("id") != id) continue;
            if (tree.get_child_optional("error"))
                throw std::runtime_error(method + " failed: " + tree.get<std::string>("error.message", "?"));
            return tree.get_child("result");
        }
    }

    void attach(const std::string& url)
    {
        const auto target = call("Target.createTarget", "{\"url\":" + json(url) + "}", false);
        const auto session = call("Target.attachToTarget",
                                  "{\"targetId\":" + json(target.get<std::string>("targetId")) + ",\"flatten\":true}", false);
        m_session = session.get<std::string>("sessionId");
    }

    // Evaluates an expression in the page (a promise is awaited); its value as text.
    std::string eval(const std::string& expression, int timeoutMs = 15000)
    {
        const auto r = call("Runtime.evaluate",
                            "{\"expression\":" + json(expression) + ",\"returnByValue\":true,\"awaitPromise\":true}",
                            true, timeoutMs);
        if (auto e = r.get_child_optional("exceptionDetails"))
            throw std::runtime_error("the page threw: " + e->get<std::string>("exception.description", e->get<std::string>("text", "?")));
        return r.get<std::string>("result.value", "");
    }

    // Waits in the page until `condition` holds (checked every 50 ms); false after timeoutMs.
    bool waitUntil(const std::string& condition, int timeoutMs)
    {
        const std::string js = "new Promise((done) => { const until = Date.now() + " + std::to_string(timeoutMs) +
                               "; const look = () => { let ok = false; try { ok = !!(" + condition +
                               "); } catch (e) {} if (ok) done('yes'); else if (Date.now() > until) done('no'); "
                               "else setTimeout(look, 50); }; look(); })";
        return eval(js, timeoutMs + 10000) == "yes";
    }

    void mouse(const std::string& type, double x, double y, bool shift = false)
    {
        call("Input.dispatchMouseEvent", "{\"type\":" + json(type) + ",\"x\":" + std::to_string(x) + ",\"y\":" +
                                             std::to_string(y) + ",\"button\":\"left\",\"clickCount\":1" +
                                             (shift ? ",\"modifiers\":8" : "") + "}");
    }

    // Types a line into the page's command line and presses Enter.
    void typeLine(const std::string& line)
    {
        eval("document.getElementById('cmd').focus(), 'ok'");
        call("Input.insertText", "{\"text\":" + json(line) + "}");
        call("Input.dispatchKeyEvent",
             "{\"type\":\"keyDown\",\"key\":\"Enter\",\"code\":\"Enter\",\"windowsVirtualKeyCode\":13,\"text\":\"\\r\"}");
        call("Input.dispatchKeyEvent", "{\"type\":\"keyUp\",\"key\":\"Enter\",\"code\":\"Enter\",\"windowsVirtualKeyCode\":13}");
    }

    // Shows only the state keys under a prefix.
    void filterState(const std::string& prefix)
    {
        eval("document.getElementById('state-filter').value = " + json(prefix) +
             ", document.getElementById('state-filter').dispatchEvent(new Event('input')), 'ok'");
    }

private:
    asio::io_context m_io;
    beast::websocket::stream<beast::tcp_stream> m_ws;
    int m_next = 0;
    std::string m_session;
};

struct Failure {
    std::string what;
};

void require(bool ok, const std::string& what)
{
    if (!ok) throw Failure{what};
}

int runChecks(DevTools& dt, const std::string& url, const fs::path& outDir)
{
    dt.attach("about:blank");
    dt.call("Emulation.setDeviceMetricsOverride", "{\"width\":1400,\"height\":1050,\"deviceScaleFactor\":1,\"mobile\":false}");
    dt.call("Page.enable", "{}");
    dt.call("Page.navigate", "{\"url\":" + json(url) + "}");

    // 1. The page loads and shows LOADED in the state table.
    require(dt.waitUntil("document.querySelector('#state-table tr[data-key=\"PANEL.LOADED\"]')", 20000),
            "PANEL.LOADED never showed in the state table");
    std::cout << "web.browser: the state table shows PANEL.LOADED" << std::endl;

    // 2. The button in its REPL colour, then a click-and-hold with the mouse.
    const std::string button = "document.querySelector('.key[data-widget=\"0.1.2.3\"]')";
    require(dt.waitUntil(button + ".dataset.color === 'CYAN'", 10000),
            "button 0.1.2.3 is not drawn in its REPL colour CYAN (it shows '" + dt.eval(button + ".dataset.color") + "')");
    const std::string rect = dt.eval("(() => { const r = " + button +
                                     ".getBoundingClientRect(); return (r.x + r.width / 2) + ' ' + (r.y + r.height / 2); })()");
    double x = 0, y = 0;
    std::istringstream(rect) >> x >> y;
    require(x > 0 && y > 0, "button 0.1.2.3 has no place on the page: " + rect);
    dt.mouse("mouseMoved", x, y);
    dt.mouse("mousePressed", x, y);
    const bool held = dt.waitUntil(button + ".classList.contains('held')", 5000);
    dt.mouse("mouseReleased", x, y);
    require(held, "button 0.1.2.3 was not held after the hold time");
    const std::string sent = "document.querySelector('.stream[data-stream=\"sent\"] .lines').textContent";
    require(dt.waitUntil(sent + ".includes('MFD1.REPLACE.MACRO.RECALL')", 10000),
            "the FIDs sent show no MFD1.REPLACE.MACRO.RECALL: " + dt.eval(sent));
    require(dt.waitUntil(button + ".dataset.color === 'ORANGE'", 10000),
            "button 0.1.2.3 did not turn ORANGE while its macro plays (it shows '" + dt.eval(button + ".dataset.color") + "')");
    std::cout << "web.browser: the mouse's click-and-hold sent MFD1.REPLACE.MACRO.RECALL and the button went from CYAN "
                 "to ORANGE" << std::endl;

    // 3. A console line typed into the command line changes the state table.
    const std::string row = "document.querySelector('#state-table tr[data-key=\"PANEL.MACRO0.RECORDING.REG\"] td:nth-child(2)')";
    dt.filterState("PANEL.MACRO0.RECORDING");
    require(dt.waitUntil(row + ".textContent === 'INV'", 5000), "PANEL.MACRO0.RECORDING.REG is not INV to begin with");
    dt.filterState("PANEL.MACRO0.RECORDING");
    dt.typeLine("fid MACRO0.RECORDING.START REG=5");
    require(dt.waitUntil(row + ".textContent === '5'", 10000),
            "the typed line did not change PANEL.MACRO0.RECORDING.REG to 5 (replies: " +
                dt.eval("document.getElementById('replies').textContent") + ")");
    std::cout << "web.browser: the typed line 'fid MACRO0.RECORDING.START REG=5' set PANEL.MACRO0.RECORDING.REG = 5"
              << std::endl;

    // 4. The macro recorded from the command line, attached with the mouse as
    // a pre-macro (the attach button kept held with Shift, then a
    // click-and-hold on Key 4), and a click on Key 4 recalls it.
    dt.typeLine("record PANEL.TRIGGER NAME=LAMP VALUE=ON @0.1.2.4");
    dt.typeLine("fid MACRO0.RECORDING.STOP");
    require(dt.waitUntil(row + ".textContent === 'INV'", 10000), "the typed RECORDING.STOP did not end the recording");
    dt.eval("document.getElementById('mreg').value = '5', 'ok'");
    auto centre = [&](const std::string& widget) {
        const std::string r = dt.eval("(() => { const r = document.querySelector('.key[data-widget=\"" + widget +
                                      "\"]').getBoundingClientRect(); return (r.x + r.width / 2) + ' ' + (r.y + r.height / 2); })()");
        double cx = 0, cy = 0;
        std::istringstream(r) >> cx >> cy;
        return std::make_pair(cx, cy);
    };
    const auto [ax, ay] = centre("0.1.2.90");
    const auto [kx, ky] = centre("0.1.2.4");
    const std::string attachKey = "document.querySelector('.key[data-widget=\"0.1.2.90\"]')";
    const std::string key4 = "document.querySelector('.key[data-widget=\"0.1.2.4\"]')";
    dt.mouse("mouseMoved", ax, ay);
    dt.mouse("mousePressed", ax, ay, true);
    dt.mouse("mouseReleased", ax, ay, true);
    require(dt.waitUntil(attachKey + ".classList.contains('latched') && " + attachKey + ".classList.contains('held')", 5000),
            "Shift-click did not keep the attach button held");
    dt.mouse("mouseMoved", kx, ky);
    dt.mouse("mousePressed", kx, ky);
    const bool key4Held = dt.waitUntil(key4 + ".classList.contains('held')", 5000);
    dt.mouse("mouseReleased", kx, ky);
    require(key4Held, "Key 4 was not held after the hold time");
    dt.filterState("PANEL.MACRO0.ATTACH.0.1.2.4");
    const std::string attached = "document.querySelector('#state-table tr[data-key=\"PANEL.MACRO0.ATTACH.0.1.2.4.PRE\"] td:nth-child(2)')";
    require(dt.waitUntil(attached + ".textContent.startsWith('5')", 10000),
            "the mouse's gesture did not attach register 5 to Key 4 as a pre-macro (replies: " +
                dt.eval("document.getElementById('replies').textContent") + ")");
    dt.mouse("mousePressed", ax, ay);  // a click on the kept button lets it go
    dt.mouse("mouseReleased", ax, ay);
    require(dt.waitUntil("!" + attachKey + ".classList.contains('latched')", 5000), "the attach button stayed held");
    dt.mouse("mousePressed", kx, ky);
    dt.mouse("mouseReleased", kx, ky);
    require(dt.waitUntil(sent + ".includes('MFD1.PRE.MACRO.RECALL') && /MFD1.PRE.MACRO.RECALL[^\\n]*REG=5/.test(" + sent + ")", 10000),
            "a click on Key 4 sent no MFD1.PRE.MACRO.RECALL of register 5: " + dt.eval(sent));
    std::cout << "web.browser: register 5, recorded from the command line, attached to Key 4 by the mouse (Shift-click "
                 "on Attach, click-and-hold on Key 4); a click on Key 4 sent MFD1.PRE.MACRO.RECALL REG=5" << std::endl;

    // The screenshot.
    dt.filterState("PANEL.MACRO0.");
    dt.waitUntil("document.querySelectorAll('#state-table tbody tr').length > 0", 2000);
    const auto shot = dt.call("Page.captureScreenshot", "{\"format\":\"png\",\"clip\":{\"x\":0,\"y\":0,\"width\":1400,\"height\":1050,\"scale\":0.8}}");
    const fs::path file = outDir / "webview.png";
    std::ofstream(file, std::ios::binary) << decodeBase64(shot.get<std::string>("data"));
    std::cout << "web.browser: screenshot " << file.string() << std::endl;
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6) {
        std::cerr << "usage: web_browser_check PANELHOST MODULE LAYOUT SETUP_SCRIPT OUT_DIR" << std::endl;
        return 2;
    }
    ::signal(SIGPIPE, SIG_IGN);
    const char* fromEnv = std::getenv("PANELMFD_CHROMIUM");
    const std::string chromium = fromEnv && *fromEnv ? fromEnv : "/usr/bin/chromium";
    if (::access(chromium.c_str(), X_OK) != 0) {
        std::cout << "web.browser: SKIPPED: no chromium at " << chromium << " (scripts/bootstrap installs it)" << std::endl;
        return kSkipped;
    }
    const fs::path outDir = fs::absolute(argv[5]);
    std::error_code ec;
    fs::remove_all(outDir, ec);
    fs::create_directories(outDir / "profile", ec);
    fs::create_directories(outDir / "run", ec);

    // panelhost with the live panel on a free port, running the setup script.
    Child host = spawn({argv[1], "--module", argv[2], "--quiet", "--dir", (outDir / "run").string(), "--web",
                        "127.0.0.1:0", "--layout", argv[3], argv[4]},
                       false);
    std::string hostOut;
    const auto at = readUntil(host, std::regex("live panel is at (http://127\\.0\\.0\\.1:[0-9]+/)"), 30000, hostOut);
    if (!at) {
        std::cerr << "web.browser: FAILED: panelhost did not tell the live panel's address; it wrote:\n" << hostOut;
        ::kill(host.pid, SIGTERM);
        reap(host.pid, 5000);
        return 1;
    }
    const std::string url = (*at)[1];
    std::thread hostDrain = drain(host.out, hostOut);

    std::vector<std::string> args = {chromium, "--headless=new", "--disable-gpu", "--no-first-run",
                                     "--no-default-browser-check", "--disable-extensions", "--mute-audio",
                                     "--remote-debugging-port=0", "--remote-debugging-address=127.0.0.1",
                                     "--user-data-dir=" + (outDir / "profile").string(), "about:blank"};
    if (::geteuid() == 0) args.insert(args.begin() + 1, "--no-sandbox"); // no sandbox for root
    Child browser = spawn(args, true);
    std::string browserErr;
    const auto devtools = readUntil(browser, std::regex("DevTools listening on ws://([0-9.]+):([0-9]+)(/devtools/browser/[^ ]+)"),
                                    30000, browserErr);
    int status = 0;
    if (!devtools) {
        std::cout << "web.browser: SKIPPED: chromium did not start here; it wrote:\n" << browserErr << std::endl;
        status = kSkipped;
    } else {
        std::thread browserDrain = drain(browser.out, browserErr);
        try {
            DevTools dt((*devtools)[1], (*devtools)[2], (*devtools)[3]);
            status = runChecks(dt, url, outDir);
            try {
                dt.call("Browser.close", "{}", false, 5000);
            } catch (const std::exception&) {
            }
        } catch (const Failure& f) {
            std::cout << "web.browser: FAILED: " << f.what << std::endl;
            status = 1;
        } catch (const std::exception& e) {
            std::cout << "web.browser: FAILED: " << e.what() << std::endl;
            status = 1;
        }
        reap(browser.pid, 10000);
        browserDrain.join();
    }
    if (devtools == std::nullopt) reap(browser.pid, 5000);
    ::close(browser.out);

    ::kill(host.pid, SIGTERM);
    const int hostStatus = reap(host.pid, 15000);
    hostDrain.join();
    ::close(host.out);
    if (hostStatus != 0 && status == 0) {
        std::cout << "web.browser: FAILED: panelhost ended with " << hostStatus << " after SIGTERM; it wrote:\n"
                  << hostOut << std::endl;
        status = 1;
    }
    if (status == 0) std::cout << "web.browser: 4 checks passed" << std::endl;
    return status;
}
