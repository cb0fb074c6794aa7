// panelhost: the reference host of the panel module, on the command line.
//
//   panelhost [--module PATH] [--dir DIR] [--quiet] [--verbose] [--keep]
//             [--web [ADDRESS:]PORT [--layout FILE]] [SCRIPT]
//
// With a script it runs the script (narrated unless --quiet) and exits 0 when
// every expect held, 1 at the first that didn't, 2 for a malformed script.
// Without one it opens the console. With --web it serves the live panel
// beside them, and after a script (or the end of a console's piped input)
// goes on serving until interrupted.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "console.h"
#include "fidnames.h"
#include "layout.h"
#include "panelhost.h"
#include "scriptparser.h"
#include "scriptrunner.h"
#include "webassets.h"
#include "webrequest.h"
#include "webserver.h"

namespace fs = std::filesystem;

namespace {

const char* kMoreHelp = R"(
The run directory holds nvram/PANEL (the module's data), config (its
configuration and config/Workplaces.xml) and data/PANEL; panelhost changes
into it, and paths in scripts are relative to it.

Simulated mainframe drivers: a FID whose full name doesn't begin with "PANEL."
goes to the driver named by its first word. Drivers are passive (they publish
nothing) unless `sim mfd.ID = active`: then ID[.PRE|.REPLACE|.POST].MACRO.RECALL
REG=n publishes ID.MACRO.REGn.STATUS = PLAY and ID.MACRO.CURRENT.REG = n, and
STOP after `sim mfd.ID.playms` (default 1000) ms; ID.MACRO.STOP REG=n publishes
STOP, ID.MACRO.RESUME REG=n PLAY (then STOP after the play time).

See host/README.md for every command and check of the scripts.)";

std::string executableDir()
{
    std::error_code ec;
    const fs::path self = fs::read_symlink("/proc/self/exe", ec);
    return ec ? std::string(".") : self.parent_path().string();
}

// The module beside panelhost: in the library folder of an installed tree
// (which may be a multiarch one, as lib/x86_64-linux-gnu), else in ../lib as in
// the build tree.
std::string defaultModulePath()
{
    const std::string dir = executableDir();
    const std::string installed = dir + "/../" PANELHOST_INSTALL_LIBDIR "/libpanelmfd.so";
    std::error_code ec;
    if (fs::exists(installed, ec)) return installed;
    return dir + "/../lib/libpanelmfd.so";
}

std::string makeTempDir()
{
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/panelhost-XXXXXX";
    if (!mkdtemp(pattern.data())) return std::string();
    return pattern;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app{"panelhost: loads the panel module, walks it through its phases and runs a scenario script or "
                 "the console"};
    app.footer(kMoreHelp);
    std::string modulePath;
    std::string dir;
    std::string script;
    bool quiet = false;
    bool verbose = false;
    bool keep = false;
    app.add_option("--module", modulePath,
                   "the module library (default <dir of panelhost>/../" PANELHOST_INSTALL_LIBDIR
                   "/libpanelmfd.so, else <dir of panelhost>/../lib/libpanelmfd.so)");
    app.add_option("--dir", dir, "the run directory (default: a fresh temporary one)");
    app.add_flag("--quiet", quiet, "no narration");
    app.add_flag("--verbose", verbose, "narrate every state key (a burst under one prefix otherwise reads as one line)");
    app.add_flag("--keep", keep, "keep the temporary run directory");
    std::string webListen;
    std::string layoutFile;
    app.add_option("--web", webListen, "serve the live panel at http://[ADDRESS:]PORT/ (address default 127.0.0.1)");
    app.add_option("--layout", layoutFile, "the live panel's layout, a JSON file (default: the one built in)");
    app.add_option("SCRIPT", script, "a scenario script (*.panel); without one the console opens");
    CLI11_PARSE(app, argc, argv);

    if (modulePath.empty()) modulePath = defaultModulePath();
    std::string scriptText;
    std::string scriptName;
    if (!script.empty()) {
        std::ifstream in(script, std::ios::binary);
        if (!in) {
            std::cerr << "panelhost: cannot read the script " << script << std::endl;
            return 2;
        }
        std::ostringstream os;
        os << in.rdbuf();
        scriptText = os.str();
        scriptName = script;
        modulePath = fs::absolute(modulePath).string();
    }
    modulePath = fs::absolute(modulePath).string();

    // The live panel's address and layout are checked before anything runs.
    panelhost::web::WebOptions webOptions;
    if (!webListen.empty()) {
        std::string error;
        if (!panelhost::web::parseListen(webListen, webOptions.address, webOptions.port, error)) {
            std::cerr << "panelhost: --web wants " << error << std::endl;
            return 2;
        }
        webOptions.layout = std::string(panelhost::web::defaultLayout());
        if (!layoutFile.empty()) {
            std::ifstream in(layoutFile, std::ios::binary);
            std::ostringstream os;
            if (in) os << in.rdbuf();
            if (!in) {
                std::cerr << "panelhost: cannot read the layout " << layoutFile << std::endl;
                return 2;
            }
            webOptions.layout = os.str();
        }
        if (!panelhost::web::checkLayout(webOptions.layout, error)) {
            std::cerr << "panelhost: the layout " << (layoutFile.empty() ? "built in" : layoutFile)
                      << " is no layout: " << error << std::endl;
            return 2;
        }
        webOptions.fidNames = panelhost::moduleFIDNames();
    } else if (!layoutFile.empty()) {
        std::cerr << "panelhost: --layout goes with --web" << std::endl;
        return 2;
    }

    bool temporary = false;
    if (dir.empty()) {
        dir = makeTempDir();
        temporary = true;
        if (dir.empty()) {
            std::cerr << "panelhost: cannot make a temporary run directory" << std::endl;
            return 2;
        }
    }
    std::error_code ec;
    fs::create_directories(dir, ec);
    dir = fs::absolute(dir).lexically_normal().string();
    if (!dir.empty() && dir.back() == '/' && dir.size() > 1) dir.pop_back();

    // A malformed script is reported before anything is loaded.
    panelhost::Script parsed;
    if (!script.empty()) {
        parsed = panelhost::parseScript(scriptText);
        if (!parsed.errors.empty()) {
            for (const auto& e : parsed.errors) std::cerr << scriptName << ":" << e.line << ": " << e.message << std::endl;
            if (temporary) fs::remove_all(dir, ec);
            return 2;
        }
    }

    int status = 0;
    {
        panelhost::HostOptions options;
        options.modulePath = modulePath;
        options.runDir = dir;
        options.narrate = !quiet;
        options.captureStdout = true;
        panelhost::Host host(options);
        host.narrator().setVerbose(verbose);
        host.narrator().always("panelhost: run directory " + dir);
        std::unique_ptr<panelhost::web::WebServer> web;
        if (!webListen.empty()) {
            web = std::make_unique<panelhost::web::WebServer>(host, webOptions);
            std::string error;
            if (!web->start(error)) {
                std::cerr << "panelhost: " << error << std::endl;
                web.reset();
                status = 2;
            } else {
                host.narrator().always("panelhost: the live panel is at " + web->url());
                if (!panelhost::web::isLoopback(webOptions.address))
                    std::cerr << "panelhost: WARNING: the live panel listens on " << webOptions.address
                              << ", beyond this machine; whoever reaches it can run any console line" << std::endl;
            }
        }
        auto serveOn = [&](const std::string& done) {
            if (!web) return;
            host.narrator().always("panelhost: " + done + "; the live panel stays at " + web->url() +
                                   " until interrupted (Ctrl-C)");
            web->waitForInterrupt();
            web->stop();
        };
        if (status != 0) {
            // The live panel was asked for and can't be had.
        } else if (!script.empty()) {
            panelhost::ScriptRunner runner(host, scriptName);
            status = runner.run(parsed);
            serveOn(scriptName + (status == 0 ? " passed" : " FAILED"));
            host.stop();
            host.narrator().always(status == 0 ? "panelhost: " + scriptName + " passed"
                                               : "panelhost: " + scriptName + " FAILED");
        } else {
            panelhost::Console console(host);
            status = console.run();
            // Piped lines ran out: the page goes on; `quit` on a terminal ends both.
            if (!::isatty(STDIN_FILENO)) serveOn("the console's input ended");
            if (web) web->stop();
            host.stop();
        }
    }
    if (temporary && !keep) {
        if (::chdir("/") != 0) {
        }
        fs::remove_all(dir, ec);
    }
    return status;
}
