#pragma once

#include <memory>
#include <string>
#include <utility>

#include "config/configuration.h"

namespace qv::config {

/// The document of the application itself, with a backup.
class List final : public Configuration {
public:
    explicit List(std::string path)
        : Configuration(std::move(path), true)
    {}
};

namespace primary {

/// Holds the primary configuration for the run. Thread: made and destroyed by the main thread while no other
/// thread uses it.
class Primary {
public:
    explicit Primary(std::string file_path);
    /// Saves once more and writes the file systems' buffers out.
    ~Primary();
    Primary(const Primary&) = delete;
    Primary& operator=(const Primary&) = delete;

    static Primary* instance; ///< null before `create_primary` and after `destroy_primary`

    std::shared_ptr<List> list; ///< empty when the load failed
};

} // namespace primary

/// Loads the primary configuration and imports `import_file_name`. A second call changes nothing. False when
/// there is no document then, because the load failed.
bool create_primary(std::string file_path);
/// The primary configuration as a plain pointer, null when there is none. Valid until `destroy_primary`, and
/// beyond that for as long as somebody holds the shared one.
List* primary_configuration_pointer();
/// Saves what changed and releases the document.
void destroy_primary();

} // namespace qv::config
