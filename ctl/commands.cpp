#include "ctl/commands.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

#include <unistd.h>

#include "ctl/follow.h"
#include "ctl/json.h"
#include "ctl/text.h"

namespace ctl {

namespace {

std::string join(const std::vector<std::string>& texts)
{
    std::string result;
    for (const auto& text : texts) {
        result += (result.empty() ? "" : ", ") + printable(text);
    }
    return result;
}

std::string or_dash(const std::string& text) { return text.empty() ? "-" : text; }

/// "Sprayer-12345 (0x80, a000840000000001)".
std::string label_of(const Ecu& ecu)
{
    return concat(printable(ecu.title), " (", address_text(ecu.address), ", ", name_text(ecu.name), ")");
}

void print(const Table& table) { std::cout << table.text(); }

/// One command against one connection.
class Control {
public:
    explicit Control(const Options& options)
        : options_(options)
        , client_(options.peer)
    {}

    void run();

private:
    void status();
    void list();
    void show();
    void scan();
    void directories();
    void update();
    void follow() { ctl::follow(client_, style(), false); }
    void acknowledge();
    void clear();
    void shutdown();

    Style style() const;
    Ecu find_ecu(const std::vector<Ecu>& ecus) const;
    void tell_done(const std::string& order, const std::string& text) const;
    void make_way();
    void demand_idle(Answer answer);
    [[noreturn]] void refuse_busy();
    [[noreturn]] void refuse_update(const Ecu& ecu, const std::string& version) const;

    const Options& options_;
    Client client_;
};

void Control::run()
{
    switch (options_.command) {
        case Command::status: return status();
        case Command::list: return list();
        case Command::show: return show();
        case Command::scan: return scan();
        case Command::directories: return directories();
        case Command::update: return update();
        case Command::follow: return follow();
        case Command::acknowledge: return acknowledge();
        case Command::clear: return clear();
        case Command::shutdown: return shutdown();
    }
}

Style Control::style() const
{
    if (options_.json) {
        return Style::json;
    }
    return ::isatty(STDOUT_FILENO) == 1 ? Style::bar : Style::lines;
}

/// The one ECU that the command line names.
Ecu Control::find_ecu(const std::vector<Ecu>& ecus) const
{
    const auto found = matching_ecus(ecus, options_.ecu);
    const auto asked = concat("'", printable(options_.ecu), "'");
    if (found.empty()) {
        throw Error(Exit::unknown_ecu, concat("no ECU fits ", asked, "\n",
                                              ecus.empty() ? "The service knows no ECU yet."
                                                           : "'flintrowctl list' tells which there are."));
    }
    if (found.size() > 1) {
        Table table({"ADDRESS", "NAME", "TITLE"});
        for (const auto* ecu : found) {
            table.add({address_text(ecu->address), name_text(ecu->name), ecu->title});
        }
        throw Error(Exit::ambiguous_ecu, concat(asked, " fits ", std::to_string(found.size()), " ECUs:\n",
                                                table.text(), "Name one by its NAME or its address."));
    }
    return *found.front();
}

void Control::tell_done(const std::string& order, const std::string& text) const
{
    std::cout << (options_.json ? done_json(order) : text) << '\n';
}

void Control::demand_idle(Answer answer)
{
    if (answer != Answer::done) {
        refuse_busy();
    }
}

void Control::refuse_busy()
{
    const auto state = client_.status().state;
    if (state == State::failure || state == State::complete_ack) {
        throw Error(Exit::busy, "refused: the last session's result is not acknowledged\n"
                                "'flintrowctl follow' tells it, 'flintrowctl acknowledge' makes way.");
    }
    if (state == State::idle) { // which is told of two things that refuse orders
        throw Error(Exit::busy,
                    "refused: the service was started with -w and waits for the ECU of its file, or the "
                    "bit rate of the bus is being changed\n"
                    "In the first case end it and start it without -w, in the second try again.");
    }
    throw Error(Exit::busy,
                concat("refused: a session is running (", words(state), ")\n'flintrowctl follow' shows it."));
}

void Control::status()
{
    const auto status = client_.status();
    if (options_.json) {
        std::cout << to_json(status) << '\n';
        return;
    }
    const auto progress = percent(status);
    std::cout << words(status.state) << (progress ? concat(" ", std::to_string(*progress), " %") : "") << '\n';
    if (status.state == State::failure) {
        std::cout << failure_text(status) << '\n';
    }
}

void Control::list()
{
    const auto ecus = client_.ecus();
    if (options_.json) {
        std::cout << to_json(ecus) << '\n';
        return;
    }
    Table table({"ADDRESS", "NAME", "TITLE", "INSTALLED", "UPDATE"});
    for (const auto& ecu : ecus) {
        table.add({address_text(ecu.address), name_text(ecu.name), ecu.title, or_dash(ecu.current_version),
                   or_dash(ecu.update_version)});
    }
    print(table);
}

void Control::show()
{
    const auto ecu = find_ecu(client_.ecus());
    const auto id = client_.identification(ecu.name);
    const auto software = client_.software(ecu.name);
    if (options_.json) {
        std::cout << to_json(ecu, id, software) << '\n';
        return;
    }
    const std::pair<const char*, std::string> rows[] = {
        {"title", ecu.title},
        {"NAME", name_text(ecu.name)},
        {"address", address_text(ecu.address)},
        {"part number", id.part_number},
        {"revision", id.revision},
        {"serial number", id.serial_number},
        {"location", id.location},
        {"type", id.type},
        {"manufacturer", id.manufacturer},
        {"installed", ecu.current_version},
        {"preferred update", ecu.update_version},
    };
    for (const auto& [key, value] : rows) {
        std::cout << std::string(key).append(18 - std::string_view(key).size(), ' ') << or_dash(printable(value))
                  << '\n';
    }
    std::cout << "all updates       " << or_dash(join(ecu.update_versions)) << "\n\n";
    Table table({"SOFTWARE", "PART NUMBER", "VERSION"});
    for (const auto& field : software) {
        table.add({or_dash(field.label), or_dash(field.part_number), or_dash(field.version)});
    }
    print(table);
}

/// The service tells nobody when it cannot open the folder, so look at it from here.
void Control::scan()
{
    std::error_code ignored;
    if (!std::filesystem::is_directory(options_.directory, ignored)) {
        std::cerr << "flintrowctl: warning: " << printable(options_.directory)
                  << " is no folder that can be seen from here\n";
    }
    demand_idle(client_.scan(options_.directory));
    tell_done("scan", concat("Scanned ", printable(options_.directory), "."));
}

void Control::directories()
{
    const auto directories = client_.directories();
    if (options_.json) {
        std::cout << to_json(directories) << '\n';
        return;
    }
    for (const auto& directory : directories) {
        std::cout << printable(directory) << '\n';
    }
}

/// By version where one is known: so the preferred update may be a package for a wireless node too.
void Control::update()
{
    const auto ecu = find_ecu(client_.ecus());
    const auto version = options_.version.empty() ? ecu.update_version : options_.version;
    const auto answer = version.empty() ? client_.update(ecu.name) : client_.update(ecu.name, version);
    switch (answer) {
        case Answer::done: break;
        case Answer::busy: refuse_busy();
        case Answer::nothing: refuse_update(ecu, version);
        case Answer::unknown:
            throw Error(Exit::unknown_ecu, label_of(ecu) + " has left the service's list meanwhile");
    }
    if (options_.json) {
        std::cout << started_json(ecu, version) << std::endl;
    } else {
        std::cout << "Updating " << label_of(ecu) << " from " << or_dash(printable(ecu.current_version)) << " to "
                  << or_dash(printable(version)) << "." << std::endl;
    }
    if (!options_.follow) {
        return;
    }
    try {
        ctl::follow(client_, style(), true);
    } catch (const Error& error) {
        if (error.exit() == Exit::update_failed) {
            make_way();
        }
        throw;
    }
    make_way();
}

/// The result has been shown; that nobody takes the acknowledgement any more does not change it.
void Control::make_way()
{
    try {
        (void)client_.acknowledge(); // refused when somebody else was faster
    } catch (const Error& error) {
        std::cerr << "The session is not acknowledged: " << error.what() << std::endl;
    }
}

/// The service does not tell which of the reasons it is, nor which versions are images and which are packages.
void Control::refuse_update(const Ecu& ecu, const std::string& version) const
{
    const auto& offered = ecu.update_versions;
    if (offered.empty()) {
        throw Error(
            Exit::nothing_to_install,
            concat("no update file fits ", label_of(ecu),
                   "\n'flintrowctl scan DIR' looks for update files, 'flintrowctl directories' tells where "
                   "that was done."));
    }
    if (std::find(offered.begin(), offered.end(), version) == offered.end()) {
        throw Error(Exit::nothing_to_install, concat("version ", printable(version), " is not on offer for ",
                                                     label_of(ecu), "\nThese are: ", join(offered), "."));
    }
    const auto other = offered.size() < 2 ? std::string()
                                          : concat("\nOr it is a package: where images fit as well, they alone "
                                                   "can be started. Name one with --version: ",
                                                   join(offered), ".");
    throw Error(
        Exit::nothing_to_install,
        concat("the update of ", label_of(ecu), " to ", printable(version),
               " could not start\nIts file is damaged, or has changed since the last 'flintrowctl scan', or "
               "another update is just being started.",
               other));
}

void Control::acknowledge()
{
    if (client_.acknowledge() != Answer::done) {
        if (client_.status().state != State::idle) {
            refuse_busy();
        }
        throw Error(Exit::no_session, "there is no result to acknowledge");
    }
    tell_done("acknowledge", "Acknowledged.");
}

void Control::clear()
{
    demand_idle(client_.clear());
    tell_done("clear", "The list is cleared; it fills again as the ECUs answer.");
}

void Control::shutdown()
{
    demand_idle(client_.shutdown());
    tell_done("shutdown", "The service has ended.");
}

} // namespace

void run(const Options& options) { Control(options).run(); }

} // namespace ctl
