#include "service/wifi/send_handler.h"

#include <cstdio>
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "service/wifi/request.h"
#include "service/wifi/transfer_record.h"

namespace qv::can_bus::flr {

namespace {

using namespace std::chrono_literals;

/// A node may check the whole package before it answers.
constexpr auto allowed_silence = 10min;
/// Bytes read from the file at a time; libcurl's own 64 KiB cost a tenth of the speed.
constexpr long piece = 512L << 10;

struct Free_form {
    void operator()(curl_mime* form) const noexcept { curl_mime_free(form); }
};
using Form = std::unique_ptr<curl_mime, Free_form>;

int on_progress(void* record, curl_off_t download_total, curl_off_t download_now, curl_off_t upload_total,
                curl_off_t upload_now)
{
    return curl_xfer_update(record, download_total, download_now, upload_total, upload_now);
}

/// The package, open. Should its path by now lead to a pipe, nothing waits for its writer.
class Package_file {
public:
    explicit Package_file(const std::string& path)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {}
    ~Package_file()
    {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    Package_file(const Package_file&) = delete;
    Package_file& operator=(const Package_file&) = delete;

    std::int32_t error() const
    {
        if (descriptor_ < 0) {
            std::puts("Error Unable to open upload directory");
            return transfer_error::file_open;
        }
        struct stat status = {};
        if (::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
            std::puts("Error Unable to stat file");
            return transfer_error::file_status;
        }
        return transfer_error::none;
    }
    /// Leads to the same file, whatever now stands under its name.
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

/// The form with the file in it, or nothing.
Form make_form(CURL* handle, const Package_file& file, const std::string& name)
{
    Form form(curl_mime_init(handle));
    curl_mimepart* part = form == nullptr ? nullptr : curl_mime_addpart(form.get());
    if (part == nullptr || curl_mime_name(part, "sendfile") != CURLE_OK ||
        curl_mime_filedata(part, file.path().c_str()) != CURLE_OK ||
        curl_mime_filename(part, name.c_str()) != CURLE_OK) {
        return nullptr;
    }
    return form;
}

std::int32_t error_of(CURLcode code)
{
    switch (code) {
        case CURLE_COULDNT_CONNECT:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR: return transfer_error::connection;
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_COULDNT_RESOLVE_HOST: return transfer_error::host_unknown;
        default: return transfer_error::upload;
    }
}

std::int32_t send(Request& request, curl_mime* form, Transfer_record& record)
{
    request.set("CURLOPT_HTTPPOST", CURLOPT_MIMEPOST, form);
    request.set("CURLOPT_UPLOAD_BUFFERSIZE", CURLOPT_UPLOAD_BUFFERSIZE, piece);
    request.set("CURLOPT_NOPROGRESS", CURLOPT_NOPROGRESS, 0L);
    request.set("CURLOPT_XFERINFOFUNCTION", CURLOPT_XFERINFOFUNCTION, &on_progress);
    request.set("CURLOPT_XFERINFODATA", CURLOPT_XFERINFODATA, &record);
    const CURLcode code = request.perform();
    if (code != CURLE_OK) {
        std::printf("curl_easy_perform() failed: (%i) %s \n", static_cast<int>(code), curl_easy_strerror(code));
        return error_of(code);
    }
    return request.succeeded() ? transfer_error::none : transfer_error::upload;
}

std::int32_t upload(Transfer_record& record)
{
    if (!record.package) {
        return transfer_error::no_package;
    }
    const std::string& path = record.package->path;
    std::puts("Send File:\r");
    std::printf("%s\r\n", path.c_str());
    const Package_file file(record.package->place);
    if (const auto error = file.error(); error != transfer_error::none) {
        return error;
    }
    Request request(record.package->target_host, "/upload", allowed_silence);
    const Form form = make_form(request.handle(), file, std::filesystem::path(path).filename());
    if (form == nullptr) {
        return transfer_error::upload;
    }
    record.curl = request.handle();
    record.last_time = 0;
    const auto error = send(request, form.get(), record);
    record.curl = nullptr;
    return error;
}

} // namespace

void* SendHandler(void* record)
{
    auto& transfer = *static_cast<Transfer_record*>(record);
    transfer.error = upload(transfer);
    return record;
}

} // namespace qv::can_bus::flr
