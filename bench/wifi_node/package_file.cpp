#include "bench/wifi_node/package_file.h"

namespace bench::wifi {

bool Package_file::add(std::string_view bytes)
{
    size_ += bytes.size();
    if (path_.empty()) {
        return true;
    }
    if (file_ == nullptr) {
        file_.reset(std::fopen(path_.c_str(), "wb"));
    }
    return file_ != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size();
}

bool Package_file::finish() { return file_ == nullptr || std::fclose(file_.release()) == 0; }

} // namespace bench::wifi
