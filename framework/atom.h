#pragma once

#include <memory>
#include <string>

namespace qv {

/// What an atom needs from the platform.
class Atom_private_base {
public:
    virtual ~Atom_private_base() = default;
    virtual void initialize(const std::string& name) = 0;
    virtual bool create(const std::string& name) = 0;
    virtual bool exists(const std::string& name) = 0;
    virtual bool remove(const std::string& name) = 0;
};

/// A named token in the POSIX shared memory namespace: one process sees by it that another holds the name. It
/// outlives the process that made it until somebody removes it.
class Atom {
public:
    explicit Atom(std::string name);
    ~Atom();
    Atom(const Atom&) = delete;
    Atom& operator=(const Atom&) = delete;

    /// Makes the token. True also when it was there.
    bool create();
    bool exists() const;
    /// Whether it certainly is not there. Neither this nor `exists` holds when the system cannot tell, as no
    /// descriptor is left.
    bool is_gone() const;
    bool create_if_absent();
    bool remove();

private:
    class Private_implementation;

    std::string name_;
    std::unique_ptr<Atom_private_base> implementation_;
};

} // namespace qv
