// Registration of commands and the shape of reports.
#include "command.h"

#include "text.h"

namespace tarn::tool {

void addGlobalOptions(CLI::App &app, Globals &globals)
{
    app.add_flag("--json", globals.json, "Report as one JSON document on stdout")->group("Common options");
    app.add_option("--log-level", globals.logLevel, "Show the libraries' log lines: error, warning, notice or info")
        ->type_name("LEVEL")
        ->group("Common options");
    app.add_option("--config", globals.config, "Platform configuration: trust anchors, paths, device")
        ->type_name("FILE")
        ->group("Common options");
}

CLI::App &addGroup(CLI::App &app, const std::string &name, const std::string &description)
{
    CLI::App &group = *app.add_subcommand(name, description);
    group.require_subcommand(1);
    group.fallthrough();
    return group;
}

CLI::App &addCommand(CLI::App &group, Globals &globals, const std::string &name, const std::string &description,
                     std::function<ExitStatus()> run)
{
    CLI::App &command = *group.add_subcommand(name, description);
    addGlobalOptions(command, globals);
    command.callback([&globals, run = std::move(run)] { globals.run = run; });
    return command;
}

void printJson(const Json &document)
{
    printOut(document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

} // namespace tarn::tool
