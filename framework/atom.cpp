#include "framework/atom.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace qv {

namespace {

constexpr mode_t everybody = 0666;

/// Opens and closes the name; the descriptor in between, below 0 when it could not be opened.
int touch(const std::string& name, int flags)
{
    const int descriptor = ::shm_open(name.c_str(), flags, everybody);
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    return descriptor;
}

} // namespace

class Atom::Private_implementation final : public Atom_private_base {
public:
    void initialize(const std::string& /*name*/) override {}
    /// A process without standard input gets the descriptor 0, which counts as a failure.
    bool create(const std::string& name) override { return touch(name, O_RDWR | O_CREAT) >= 1; }
    bool exists(const std::string& name) override { return touch(name, O_RDONLY) >= 0; }
    bool remove(const std::string& name) override { return ::shm_unlink(name.c_str()) == 0; }
};

Atom::Atom(std::string name)
    : name_(std::move(name))
    , implementation_(std::make_unique<Private_implementation>())
{
    implementation_->initialize(name_);
}

Atom::~Atom() = default;

bool Atom::create() { return implementation_->create(name_); }

bool Atom::exists() const { return implementation_->exists(name_); }

bool Atom::is_gone() const { return !exists() && errno == ENOENT; }

bool Atom::create_if_absent() { return exists() || create(); }

bool Atom::remove() { return implementation_->remove(name_); }

} // namespace qv
