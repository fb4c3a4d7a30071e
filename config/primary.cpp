#include "config/primary.h"

#include <unistd.h>

namespace qv::config {

namespace primary {

Primary* Primary::instance = nullptr;

Primary::Primary(std::string file_path)
    : list(std::make_shared<List>(std::move(file_path)))
{
    if (!list->load()) {
        list.reset();
    }
}

Primary::~Primary()
{
    if (list != nullptr) {
        static_cast<void>(list->save(false)); // the last try; nobody is left to be told
    }
    ::sync();
}

} // namespace primary

using primary::Primary;

bool create_primary(std::string file_path)
{
    if (Primary::instance == nullptr) {
        Primary::instance = new Primary(std::move(file_path));
        // The load is no change. The import is one, and has to reach the file.
        if (const auto& list = Primary::instance->list) {
            list->notify_changes = true;
            list->import_file(import_file_name, true, false);
        }
    }
    return Primary::instance->list != nullptr;
}

std::shared_ptr<List> primary_configuration()
{
    return Primary::instance != nullptr ? Primary::instance->list : nullptr;
}

List* primary_configuration_pointer()
{
    return Primary::instance != nullptr ? Primary::instance->list.get() : nullptr;
}

void destroy_primary()
{
    const std::unique_ptr<Primary> last(std::exchange(Primary::instance, nullptr));
    if (last != nullptr && last->list != nullptr) {
        static_cast<void>(last->list->save(false)); // a failure leaves it to the second try of the destructor
    }
}

} // namespace qv::config
