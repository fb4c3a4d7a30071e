#include "ctl/options.h"

#include <filesystem>

#include <CLI/CLI.hpp>

#include "ctl/exit_code.h"
#include "ctl/text.h"

namespace ctl {

namespace {

constexpr double usual_timeout = 10;
constexpr double file_timeout = 300; ///< for answers that the service reads update files for
constexpr double least_timeout = 0.1;
constexpr double longest_timeout = 86'400;

constexpr const char* ecu_help = "NAME (hexadecimal), address, title or a part of it";

std::string exit_codes()
{
    std::string text = "Exit status:\n";
    for (const auto& row : exit_meanings) {
        auto number = std::to_string(static_cast<int>(row.exit));
        text += concat(std::string(4 - number.size(), ' '), number, "  ", row.meaning, "\n");
    }
    return text;
}

/// What is wrong with the command line.
std::string complaint(const CLI::App& app, const CLI::Error& error)
{
    const auto rest = app.remaining();
    std::string what = error.what();
    if (app.get_subcommands().empty() &&
        error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError)) {
        what = rest.empty() ? "no command" : concat("there is no command '", rest.front(), "'");
    }
    return concat("flintrowctl: ", printable(what), "\n'flintrowctl --help' tells how to use it.\n");
}

/// The parser with all commands; `parse` fills the options and the text of the time-out.
class Parser {
public:
    Parser();
    Options parse(int count, char** arguments);
    int tell(const CLI::ParseError& error) const;

private:
    CLI::App* command(Command command, const std::string& name, const std::string& help);
    void add_commands();
    void set_timeouts();

    CLI::App app_{"Controls the service that updates the ECUs of this machine.", "flintrowctl"};
    Options options_;
    std::optional<double> timeout_;
};

const std::string& not_empty(const std::string& text)
{
    static const std::string good, bad = "must not be empty";
    return text.empty() ? bad : good;
}

Parser::Parser()
{
    options_.peer = {"127.0.0.1", 9091, {}, {}};
    app_.require_subcommand(1);
    app_.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app_.get_formatter()->label("Subcommands", "Commands");
    app_.failure_message([](const CLI::App* app, const CLI::Error& error) { return complaint(*app, error); });
    app_.fallthrough(); // options of all commands may stand behind the command
    app_.set_version_flag("-V,--version", FLINTROW_VERSION);
    app_.add_option("--host", options_.peer.host, "where the service runs [127.0.0.1]")
        ->type_name("HOST")
        ->check(not_empty);
    app_.add_option("--port", options_.peer.port, "its TCP port [9091]")
        ->type_name("PORT")
        ->check([](const std::string& text) { return CLI::Range(1, 65535)(text); });
    app_.add_option("--timeout", timeout_,
                    "how long to wait for the connection and for each answer [10], and for one to 'scan' and "
                    "'update', which read files [300]")
        ->type_name("SECONDS");
    app_.add_flag("--json", options_.json, "output for scripts");
    app_.footer(
        concat("Each command tells its options with --help, as in: flintrowctl update --help\n\n", exit_codes()));
    add_commands();
}

CLI::App* Parser::command(Command command, const std::string& name, const std::string& help)
{
    auto* added = app_.add_subcommand(name, help);
    added->footer("flintrowctl --help tells the options of all commands and the exit status.");
    added->callback([this, command] { options_.command = command; });
    return added;
}

void Parser::add_commands()
{
    command(Command::status, "status", "tell what the session does");
    command(Command::list, "list", "list the ECUs with their versions");
    auto* show = command(Command::show, "show", "tell all about one ECU");
    show->add_option("ECU", options_.ecu, ecu_help)->type_name("")->required()->check(not_empty);
    command(Command::scan, "scan", "look for new and changed update files in a folder and all below it")
        ->add_option("DIR", options_.directory, "the folder")
        ->type_name("")
        ->required()
        ->check(not_empty);
    command(Command::directories, "directories", "list the folders scanned so far");
    auto* update = command(Command::update, "update", "start the update of an ECU");
    update->add_option("ECU", options_.ecu, ecu_help)->type_name("")->required()->check(not_empty);
    update->add_option("--version", options_.version, "another version than the preferred one")
        ->type_name("V")
        ->check(not_empty);
    update->add_flag("--follow", options_.follow, "show the progress, and acknowledge the result in the end");
    command(Command::follow, "follow", "show the progress of the session until its end");
    command(Command::acknowledge, "acknowledge", "acknowledge the result, so that the next session can start");
    command(Command::clear, "clear", "forget all ECUs and ask the bus anew who is there");
    command(Command::shutdown, "shutdown", "end the service at once");
}

Options Parser::parse(int count, char** arguments)
{
    app_.parse(count, arguments);
    set_timeouts();
    if (options_.command == Command::scan) {
        std::error_code failure;
        const auto path = std::filesystem::absolute(options_.directory, failure).lexically_normal();
        if (failure) {
            throw Error(Exit::failed, "the working folder is gone: name DIR by its whole path");
        }
        options_.directory = path.has_filename() || !path.has_relative_path() ? path : path.parent_path();
    }
    return options_;
}

void Parser::set_timeouts()
{
    const auto time = [this](double usual) {
        const double seconds = timeout_.value_or(usual);
        if (!(seconds >= least_timeout && seconds <= longest_timeout)) { // not a number is neither
            throw CLI::ValidationError("--timeout", "must be 0.1 to 86400 seconds");
        }
        return std::chrono::milliseconds(static_cast<std::chrono::milliseconds::rep>(seconds * 1000));
    };
    options_.peer.timeout = time(usual_timeout);
    options_.peer.file_timeout = time(file_timeout);
}

/// Help is no error, whatever the library calls it.
int Parser::tell(const CLI::ParseError& error) const
{
    const bool good = app_.exit(error) == 0;
    return static_cast<int>(good ? Exit::done : Exit::usage);
}

} // namespace

std::optional<Options> parse_options(int count, char** arguments, int& status)
{
    Parser parser;
    try {
        return parser.parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        status = parser.tell(error);
        return std::nullopt;
    }
}

} // namespace ctl
