#pragma once

#include <string>

#include "framework/application/initializer.h"

namespace qv::application::initializer::primal {

/// The outermost layer: the configuration, and the names that lead to it.
class Primal final : public Initializer {
public:
    Primal(std::shared_ptr<Run_wrapper> inner, const Application_description& description);

    bool init_own() override;
    bool deinit_own() override;

    /// The name by which the program was called.
    const std::string& program_name() const noexcept { return program_name_; }
    /// The given path, or the application's name with "_config.xml" behind it.
    const std::string& configuration_file() const noexcept { return configuration_file_; }

private:
    class Implementation;

    void print_title_and_version() const;

    std::string program_name_;
    std::string configuration_file_;
};

} // namespace qv::application::initializer::primal
