/// kiv view: running controllers as a page in the browser.
#include <cstdio>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>

#include <CLI/CLI.hpp>
#include <httplib.h>

#include "Command.h"
#include "Json.h"
#include "LookClient.h"
#include "LookDiagram.h"
#include "LookView.h"
#include "ViewPage.h"

namespace Tool
{

namespace
{

struct ViewOptions
{
    std::string name;   ///< shown first; empty for the first that runs
    std::string folder; ///< of the sockets; empty for the usual places
    std::string listen; ///< address; empty for this computer alone
    int port = 0;       ///< 0 for a free one
};

constexpr int waitMs = 1000;

LookTarget targetNamed(const std::string& name, const std::string& folder)
{
    for (const LookTarget& target : lookTargets(folder))
        if (target.name == name)
            return target;
    throw CToolError(ExitNo, "nothing runs that is called " + name);
}

std::string newToken()
{
    std::random_device source; // the system's generator
    char text[33];
    std::snprintf(text, sizeof text, "%08x%08x%08x%08x", source(), source(), source(), source());
    return text;
}

/// One page's stream of events: what the controller says, and whether it is there.
class CEventStream
{
public:
    CEventStream(std::string controllerName, std::string socketFolder)
        : name(std::move(controllerName)), folder(std::move(socketFolder))
    {}

    /// Writes what came in the last second; false when the browser has gone.
    bool pass(httplib::DataSink& sink)
    {
        try
        {
            if (!client)
            {
                client = std::make_unique<CLookClient>(targetNamed(name, folder));
                client->send("watch");
                isGone = false;
                return write(sink, client->greeting());
            }
            const std::string line = client->nextLine(waitMs);
            return line.empty() ? write(sink, R"({"kind":"alive"})") : write(sink, line);
        }
        catch (const CToolError&)
        {
            client.reset();
            if (isGone)
                std::this_thread::sleep_for(std::chrono::milliseconds(waitMs)); // until it is there again
            isGone = true;
            return write(sink, R"({"kind":"gone"})");
        }
    }

private:
    static bool write(httplib::DataSink& sink, const std::string& line)
    {
        const std::string event = "data: " + line + "\n\n";
        return sink.write(event.data(), event.size());
    }

    const std::string name;
    const std::string folder;
    std::unique_ptr<CLookClient> client;
    bool isGone = false;
};

class CViewServer
{
public:
    explicit CViewServer(const ViewOptions& viewOptions)
        : options(viewOptions), token(viewOptions.listen.empty() ? "" : newToken())
    {
        server.new_task_queue = [] { return new httplib::ThreadPool(32); }; // each page holds one
        server.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
            if (isWelcome(request))
                return httplib::Server::HandlerResponse::Unhandled;
            response.status = 403;
            response.set_content("This page opens with the address that kiv view printed.\n", "text/plain");
            return httplib::Server::HandlerResponse::Handled;
        });
        server.Get("/", [](const httplib::Request&, httplib::Response& response) {
            response.set_header("Content-Security-Policy", "default-src 'self' 'unsafe-inline'; img-src 'self' data:");
            response.set_content(viewPage, "text/html; charset=utf-8");
        });
        server.Get("/names", [this](const httplib::Request&, httplib::Response& response) {
            response.set_content(names(), "application/json");
        });
        server.Get("/events",
                   [this](const httplib::Request& request, httplib::Response& response) { events(request, response); });
        server.Get("/diagram.svg", [this](const httplib::Request& request, httplib::Response& response) {
            diagram(request, response);
        });
        server.Post("/post",
                    [this](const httplib::Request& request, httplib::Response& response) { post(request, response); });
    }

    void run()
    {
        const std::string host = options.listen.empty() ? "127.0.0.1" : options.listen;
        const int port = options.port != 0 ? (server.bind_to_port(host.c_str(), options.port) ? options.port : -1)
                                           : server.bind_to_any_port(host.c_str());
        if (port <= 0)
            throw CToolError(ExitFailed, host + ": no page can be served there");
        printLine("http://" + host + ':' + std::to_string(port) + '/' + (token.empty() ? "" : "?token=" + token));
        if (!token.empty())
            std::fprintf(
                stderr,
                "kiv: whoever has this address sees the controllers of this user, and may post what they allow\n");
        flushOutput();
        server.listen_after_bind();
    }

private:
    /// A page of another site must not reach this one through the browser: neither by a name of its own for this
    /// address, nor by sending a form.
    bool isWelcome(const httplib::Request& request) const
    {
        if (!token.empty())
            return request.get_param_value("token") == token;
        const std::string host = request.get_header_value("Host");
        const std::string name = host.substr(0, host.rfind(':'));
        const std::string origin = request.get_header_value("Origin");
        return (name == "127.0.0.1" || name == "localhost") && (origin.empty() || origin == "http://" + host);
    }

    std::string names() const
    {
        std::vector<std::string> all;
        if (!options.name.empty())
            all.push_back(jsonString(options.name));
        for (const LookTarget& target : lookTargets(options.folder))
            if (target.name != options.name)
                all.push_back(jsonString(target.name));
        return jsonArray(all);
    }

    void events(const httplib::Request& request, httplib::Response& response) const
    {
        const auto stream = std::make_shared<CEventStream>(request.get_param_value("name"), options.folder);
        response.set_header("Cache-Control", "no-store");
        response.set_chunked_content_provider(
            "text/event-stream", [stream](std::size_t, httplib::DataSink& sink) { return stream->pass(sink); });
    }

    void diagram(const httplib::Request& request, httplib::Response& response) const
    {
        answer(response, [&] {
            CLookClient client(targetNamed(request.get_param_value("name"), options.folder));
            response.set_header("Cache-Control", "no-store");
            response.set_content(pictureOf(diagramText(client, "dot", request.get_param_value("machine"))),
                                 "image/svg+xml");
        });
    }

    void post(const httplib::Request& request, httplib::Response& response) const
    {
        answer(response, [&] {
            const std::string event = request.get_param_value("event");
            if (event.find_first_not_of("0123456789") != std::string::npos)
                throw badInput("no event: " + event);
            CLookClient client(targetNamed(request.get_param_value("name"), options.folder));
            client.send("post " + event + ' ' + request.get_param_value("machine"));
            parsedLine(client.answer());
            response.set_content("posted\n", "text/plain");
        });
    }

    template<class Act>
    static void answer(httplib::Response& response, Act act)
    {
        try
        {
            act();
        }
        catch (const CToolError& error)
        {
            response.status = 404;
            response.set_content(std::string(error.what()) + '\n', "text/plain");
        }
    }

    const ViewOptions options;
    const std::string token;
    httplib::Server server;
};

} // namespace

void addViewCommand(CLI::App& program)
{
    const auto options = std::make_shared<ViewOptions>();
    CLI::App* command = program.add_subcommand("view", "Show running controllers as a page in the browser");
    command->add_option("NAME", options->name, "The controller that is shown first");
    command->add_option("--folder", options->folder, "Where the sockets are, if not in the usual places");
    command->add_option("--listen", options->listen, "Let other computers in by this address of this one");
    command->add_option("--port", options->port, "The port, if not any that is free")->check(CLI::Range(1, 65535));
    command->footer("The address of the page is printed; only this computer reaches it. From another one, forward\n"
                    "the port: ssh -L 8080:localhost:8080 board kiv view --port 8080");
    command->callback([options] { CViewServer(*options).run(); });
}

} // namespace Tool
