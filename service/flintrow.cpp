#include "service/flintrow.h"

#include <cstdio>
#include <optional>
#include <utility>

#include "can/network/bus_message.h"
#include "comm/master.h"
#include "framework/log/hook.h"
#include "service/bus_observer.h"
#include "service/name_text.h"
#include "service/pdu_request_observer.h"
#include "service/programmable_item_pdu_observer.h"
#include "service/update_place.h"

namespace qv::can_bus::flr {

namespace {

constexpr const char* can_interface_name = "can1";

/// The file of the command line, or nothing when it is none of this kind.
template <class Kind> std::shared_ptr<const Kind> parse_whole(const Options& options)
{
    auto parser = std::make_shared<Kind>();
    if (parser->parse(options.write_file, false) != 0) {
        return nullptr;
    }
    if (options.verbose > 0) {
        parser->print_brief();
    }
    return parser;
}

} // namespace

std::unique_ptr<application::bus_thread::module::Module> Flintrow::create(Dispatcher_id dispatcher_id)
{
    return create_in(Environment::of_process(), dispatcher_id);
}

std::unique_ptr<Flintrow> Flintrow::create_in(Environment environment, Dispatcher_id dispatcher_id)
{
    if (!is_enabled()) {
        return nullptr;
    }
    auto settings = read_settings(environment.identity);
    if (!settings || comm::find_dispatcher(dispatcher_id) == nullptr) {
        return nullptr;
    }
    std::unique_ptr<Flintrow> module(new Flintrow(std::move(environment), *std::move(settings), dispatcher_id));
    module->observers_.add(std::make_shared<Bus_observer>(*module));
    module->initialize();
    return module;
}

Flintrow::Flintrow(Environment environment, Settings read, Dispatcher_id bus_dispatcher_id)
    : settings(std::move(read))
    , session(options, inventory, own_ecu, environment.end_process)
    , dispatcher_id(bus_dispatcher_id)
    , environment_(std::move(environment))
{}

Flintrow::~Flintrow()
{
    catalogue.stop();
    remote_control_.reset();
    detach_ecu();
}

std::string Flintrow::title() const { return settings.ecu_properties.model_name; }

void Flintrow::initialize()
{
    if (settings.log) {
        log_id = log::register_client(settings.ecu_properties.model_name);
    }
    auto parsed = parse_options(environment_.argc, environment_.argv);
    if (!parsed) {
        return environment_.end_process(1);
    }
    options = *std::move(parsed);
    if (options.baud) {
        session.can_interface = environment_.open_can_interface(can_interface_name, Session::usual_bit_rate);
        session.target_baud = *options.baud;
    }
    if (environment_.make_remote_control) {
        remote_control_ = environment_.make_remote_control(*this, settings.rpc_port);
    }
    if (options.write_file.empty()) {
        scan_at_start();
    } else {
        open_write_file();
    }
    std::printf("Initailize type %d progress %d\r\n", session.update_kind, static_cast<int>(session.state.load()));
    comm::post_to(dispatcher_id,
                  std::make_unique<bus::message::ECU_create>(settings.name, settings.ecu_properties));
}

void Flintrow::open_write_file()
{
    if (const auto image = parse_whole<HexParser>(options)) {
        catalogue.add(image);
        session.search_target(image);
    } else if (const auto package = parse_whole<ZipParser>(options)) {
        session.search_target(package);
    } else {
        std::puts("Error: Invalid update file\r");
        session.state = State::BL_FAILURE;
    }
}

void Flintrow::scan_at_start()
{
    catalogue.scan_directory(startup_directory);
    if (!options.directory.empty()) {
        catalogue.scan_directory(options.directory);
    }
}

void Flintrow::attach_ecu(std::shared_ptr<ecu::ECU> created)
{
    observers_.add(std::make_shared<Programmable_item_PDU_Observer>(created->pdu_dispatcher_id(), *this));
    observers_.add(std::make_shared<PDU_request_observer>(created->request_dispatcher_id()));
    own_ecu.attach(std::move(created));
}

void Flintrow::detach_ecu()
{
    observers_.clear();
    own_ecu.detach();
}

void Flintrow::on_address_claimed(std::uint32_t address, name::Name name, const std::shared_ptr<node::Node>& node)
{
    if (options.verbose > 0) {
        std::printf("Programmable_item_PDU_Observer::address_claim : ");
        std::printf("\t[0x%x] %s\r\n", address, name_text(name).c_str());
    }
    if (inventory.ecu_address_claimed(address, name, node) == 0) {
        own_ecu.request_software_identification(node);
        own_ecu.request_ecu_identification(node);
    }
    session.on_address_claimed(address, name, node);
    if (name == settings.name) {
        session.address_claimed = true;
    }
}

int Flintrow::clear_ecu_list()
{
    inventory.clear_ecu_list();
    std::fputs("re-sending address claim\n", stderr);
    comm::post_to(dispatcher_id, std::make_unique<message::Request_address_claims>());
    return 0;
}

} // namespace qv::can_bus::flr
