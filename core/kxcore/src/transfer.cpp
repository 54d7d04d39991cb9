#include "transfer.h"

#include "url_credentials.h"

#include <kxcore/process_context.h>

#include <kxbase/errors.h>
#include <kxbase/urls.h>

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace kxcore::transfer {

namespace {

constexpr std::array<std::string_view, 4> schemes{"ftp", "http", "https", "smb"};
constexpr char const* allowed_schemes = "ftp,http,https,smb";
// A server sends nobody from an encrypted connection to an open one, nor to other kinds of server.
constexpr char const* schemes_after_http = "http,https";
constexpr char const* schemes_after_https = "https";
constexpr long most_redirections = 5;
constexpr long least_rate = 1000;
constexpr std::size_t most_answer = std::size_t{1} << 20;

struct ended {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
};
using curl_handle = std::unique_ptr<CURL, ended>;

/// What is received, up to a number of bytes.
struct received {
    std::string content;
    std::size_t most;
    bool too_much = false;
};

curl_handle prepared(std::string_view url);
std::string encoded_without_credentials(std::string_view url);
template <class T>
void set(curl_handle const& handle, CURLoption option, T value);
void receive_into(curl_handle const& handle, received& into);
[[noreturn]] void raise_failed(CURL* handle, CURLcode code, std::string_view url, char const* what);

extern "C" {
std::size_t kxcore_transfer_take(char* data, std::size_t unit, std::size_t count, void* into);
std::size_t kxcore_transfer_give(char* data, std::size_t unit, std::size_t count, void* from);
}

} // namespace

bool knows_scheme(std::string_view scheme) noexcept {
    return std::find(schemes.begin(), schemes.end(), scheme) != schemes.end();
}

std::string receive(std::string_view url, std::size_t limit) {
    curl_handle const handle = prepared(url);
    received into{{}, limit};
    receive_into(handle, into);
    set(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limit));
    CURLcode const code = curl_easy_perform(handle.get());
    if (into.too_much || code == CURLE_FILESIZE_EXCEEDED)
        kxbase::es::arg::raise("'" + url_for_messages(url) + "' is larger than " + std::to_string(limit) +
                               " bytes (limit document)");
    if (code != CURLE_OK) raise_failed(handle.get(), code, url, "cannot read");
    return std::move(into.content);
}

std::string receive_prefix(std::string_view url, std::size_t size) {
    curl_handle const handle = prepared(url);
    received into{{}, size};
    receive_into(handle, into);
    CURLcode const code = curl_easy_perform(handle.get());
    if (code != CURLE_OK && !into.too_much) raise_failed(handle.get(), code, url, "cannot read");
    return std::move(into.content);
}

void send(std::string_view url, std::string_view content) {
    curl_handle const handle = prepared(url);
    set(handle, CURLOPT_UPLOAD, 1L);
    set(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(content.size()));
    set(handle, CURLOPT_READFUNCTION, &kxcore_transfer_give);
    std::string_view rest = content;
    set(handle, CURLOPT_READDATA, static_cast<void*>(&rest));
    // What the server has to say about an upload is received, within reason, and not looked at.
    received answer{{}, most_answer};
    receive_into(handle, answer);
    CURLcode const code = curl_easy_perform(handle.get());
    if (code != CURLE_OK) raise_failed(handle.get(), code, url, "cannot write");
}

namespace {

curl_handle prepared(std::string_view url) {
    static CURLcode const ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    curl_handle handle(ready == CURLE_OK ? curl_easy_init() : nullptr);
    if (!handle) kxbase::es::call::raise("the transfer library cannot be used");

    set(handle, CURLOPT_URL, encoded_without_credentials(url).c_str());
    std::string const user = kxbase::url_user(url, true);
    std::string const password = kxbase::url_password(url, true);
    if (!user.empty()) set(handle, CURLOPT_USERNAME, user.c_str());
    if (!password.empty()) set(handle, CURLOPT_PASSWORD, password.c_str());

    bool const encrypted = kxbase::url_scheme(url) == "https";
    set(handle, CURLOPT_PROTOCOLS_STR, allowed_schemes);
    set(handle, CURLOPT_REDIR_PROTOCOLS_STR, encrypted ? schemes_after_https : schemes_after_http);
    set(handle, CURLOPT_FOLLOWLOCATION, 1L);
    set(handle, CURLOPT_MAXREDIRS, most_redirections);
    set(handle, CURLOPT_FAILONERROR, 1L);
    set(handle, CURLOPT_USERAGENT, "kxclientutil");

    transfer_time_outs const time_outs = process_context::instance().get_transfer_time_outs();
    set(handle, CURLOPT_NOSIGNAL, 1L);
    set(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(time_outs.connect.count()));
    set(handle, CURLOPT_LOW_SPEED_LIMIT, least_rate);
    set(handle, CURLOPT_LOW_SPEED_TIME, static_cast<long>(time_outs.stall.count()));
    return handle;
}

/// User and password are handed over beside the URL, and what our lenient URLs may hold as it is gets encoded.
std::string encoded_without_credentials(std::string_view url) {
    constexpr char hex[] = "0123456789ABCDEF";
    std::string encoded;
    std::string const bare = without_user_info(url.substr(0, url.find('#'))).readable;
    for (char const c : bare) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte > ' ' && byte < 0x7f) {
            encoded += c;
        } else {
            encoded += '%';
            encoded += hex[byte >> 4];
            encoded += hex[byte & 15];
        }
    }
    return encoded;
}

template <class T>
void set(curl_handle const& handle, CURLoption option, T value) {
    CURLcode const code = curl_easy_setopt(handle.get(), option, value);
    if (code != CURLE_OK)
        kxbase::es::call::raise(std::string("the transfer library cannot be used: ") + curl_easy_strerror(code));
}

void receive_into(curl_handle const& handle, received& into) {
    set(handle, CURLOPT_WRITEFUNCTION, &kxcore_transfer_take);
    set(handle, CURLOPT_WRITEDATA, static_cast<void*>(&into));
}

/// The library's own texts name no part of the URL; those that a server sends are not shown at all.
void raise_failed(CURL* handle, CURLcode code, std::string_view url, char const* what) {
    std::string message = std::string(what) + " '" + url_for_messages(url) + "': ";
    long answered = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &answered);
    message += curl_easy_strerror(code);
    if (answered != 0) message += " (the server answered " + std::to_string(answered) + ")";
    kxbase::es::call::raise(message);
}

extern "C" {

std::size_t kxcore_transfer_take(char* data, std::size_t unit, std::size_t count, void* into) {
    received& taken = *static_cast<received*>(into);
    std::size_t const size = unit * count;
    std::size_t const room = taken.most - taken.content.size();
    // No exception may pass through the library; a shorter count makes it break off.
    try {
        taken.content.append(data, std::min(size, room));
    } catch (std::bad_alloc const&) {
        return 0;
    }
    taken.too_much = size > room;
    return taken.too_much ? 0 : size;
}

std::size_t kxcore_transfer_give(char* data, std::size_t unit, std::size_t count, void* from) {
    std::string_view& rest = *static_cast<std::string_view*>(from);
    std::size_t const size = std::min(unit * count, rest.size());
    std::memcpy(data, rest.data(), size);
    rest.remove_prefix(size);
    return size;
}
}

} // namespace

} // namespace kxcore::transfer
