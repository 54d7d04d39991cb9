#include "transfer.h"

#include "text_escape.h"
#include "url_credentials.h"

#include <kxcore/process_context.h>

#include <kxbase/errors.h>
#include <kxbase/urls.h>

#include <curl/curl.h>
#include <openssl/x509.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace kxcore::transfer {

namespace {

constexpr std::array<std::string_view, 4> schemes{"ftp", "http", "https", "smb"};
constexpr char const* allowed_schemes = "ftp,http,https,smb";
// A server sends nobody from an encrypted connection to an open one, nor to other kinds of server.
constexpr char const* schemes_after_http = "http,https";
constexpr char const* schemes_after_https = "https";
constexpr long most_redirections = 5;
constexpr std::string_view too_many_redirections = "the server redirects more than 5 times";
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
    /// Whether to break off as soon as there are so many, rather than when there are more.
    bool stops_when_full = false;
    bool broken_off = false;
};

/// What is sent: the whole, and what is still to come.
struct outgoing {
    std::string_view content;
    std::string_view rest;
};

// The library's own words are for programmers.
struct failure {
    long code;
    std::string_view text;
};
constexpr std::string_view no_file = "there is no such file";
constexpr std::string_view cut_off = "the connection ended before the transfer did";
constexpr failure failures[] = {
    {CURLE_COULDNT_RESOLVE_HOST, "the server's name is not known"},
    {CURLE_COULDNT_CONNECT, "the server cannot be reached"},
    {CURLE_OPERATION_TIMEDOUT, "time-out, the server does not answer or is too slow"},
    {CURLE_PARTIAL_FILE, cut_off},
    {CURLE_RECV_ERROR, cut_off},
    {CURLE_SEND_ERROR, cut_off},
    {CURLE_GOT_NOTHING, cut_off},
    {CURLE_LOGIN_DENIED, "the login was refused"},
    {CURLE_REMOTE_FILE_NOT_FOUND, no_file},
    {CURLE_REMOTE_ACCESS_DENIED, "there is no such folder"},
    {CURLE_TOO_MANY_REDIRECTS, too_many_redirections},
    {CURLE_HTTP_RETURNED_ERROR, "the request failed"},
};
constexpr failure http_failures[] = {
    {401, "the login was refused"},
    {403, "access was refused"},
    {404, no_file},
    {407, "the proxy refused the login"},
    {410, no_file},
};

curl_handle prepared(std::string_view url);
std::string encoded_without_credentials(std::string_view url);
bool begins_escape(std::string_view text, std::size_t at);
void set_login(curl_handle const& handle, std::string_view url);
void trust_authorities(curl_handle const& handle);
CURLcode performed(curl_handle const& handle, std::string_view url, bool sends);
template <class T>
void set(curl_handle const& handle, CURLoption option, T value);
void receive_into(curl_handle const& handle, received& into);
[[noreturn]] void raise_failed(CURL* handle, CURLcode code, std::string_view url, char const* what);
std::string said_of(CURL* handle, CURLcode code, long answered);

extern "C" {
std::size_t kxcore_transfer_take(char* data, std::size_t unit, std::size_t count, void* into);
std::size_t kxcore_transfer_give(char* data, std::size_t unit, std::size_t count, void* from);
int kxcore_transfer_rewind(void* from, curl_off_t offset, int origin);
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
    CURLcode const code = performed(handle, url, false);
    if (into.broken_off || code == CURLE_FILESIZE_EXCEEDED)
        kxbase::es::arg::raise("'" + url_for_messages(url) + "' is larger than " + std::to_string(limit) +
                               " bytes (limit document)");
    if (code != CURLE_OK) raise_failed(handle.get(), code, url, "cannot read");
    return std::move(into.content);
}

std::string receive_prefix(std::string_view url, std::size_t size) {
    curl_handle const handle = prepared(url);
    received into{{}, size, true};
    receive_into(handle, into);
    CURLcode const code = performed(handle, url, false);
    if (code != CURLE_OK && !into.broken_off) raise_failed(handle.get(), code, url, "cannot read");
    return std::move(into.content);
}

void send(std::string_view url, std::string_view content) {
    curl_handle const handle = prepared(url);
    set(handle, CURLOPT_UPLOAD, 1L);
    set(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(content.size()));
    set(handle, CURLOPT_READFUNCTION, &kxcore_transfer_give);
    outgoing from{content, content};
    set(handle, CURLOPT_READDATA, static_cast<void*>(&from));
    // Who is sent on to another place sends from the start there.
    set(handle, CURLOPT_SEEKFUNCTION, &kxcore_transfer_rewind);
    set(handle, CURLOPT_SEEKDATA, static_cast<void*>(&from));
    // What the server has to say about an upload is received, within reason, and not looked at.
    received answer{{}, most_answer};
    receive_into(handle, answer);
    CURLcode const code = performed(handle, url, true);
    if (code != CURLE_OK) raise_failed(handle.get(), code, url, "cannot write");
}

namespace {

curl_handle prepared(std::string_view url) {
    static CURLcode const ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    curl_handle handle(ready == CURLE_OK ? curl_easy_init() : nullptr);
    if (!handle) kxbase::es::call::raise("the transfer library cannot be used");

    std::string const path = kxbase::url_path(url, false);
    // The transfer library would give the list of a folder.
    if (kxbase::url_scheme(url) == "ftp" && (path.empty() || path.ends_with('/')))
        kxbase::es::call::raise("'" + url_for_messages(url) + "' names a folder, not a file");
    set(handle, CURLOPT_URL, encoded_without_credentials(url).c_str());
    set_login(handle, url);

    bool const encrypted = kxbase::url_scheme(url) == "https";
    set(handle, CURLOPT_PROTOCOLS_STR, allowed_schemes);
    set(handle, CURLOPT_REDIR_PROTOCOLS_STR, encrypted ? schemes_after_https : schemes_after_http);
    set(handle, CURLOPT_FOLLOWLOCATION, 1L);
    set(handle, CURLOPT_MAXREDIRS, most_redirections);
    set(handle, CURLOPT_FAILONERROR, 1L);
    set(handle, CURLOPT_USERAGENT, "kxclientutil");
    trust_authorities(handle);

    transfer_time_outs const time_outs = process_context::instance().get_transfer_time_outs();
    set(handle, CURLOPT_NOSIGNAL, 1L);
    set(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(time_outs.connect.count()));
    set(handle, CURLOPT_LOW_SPEED_LIMIT, least_rate);
    set(handle, CURLOPT_LOW_SPEED_TIME, static_cast<long>(time_outs.stall.count()));
    // The dialogue with an FTP server moves no content: the rate is not looked at there.
    set(handle, CURLOPT_SERVER_RESPONSE_TIMEOUT, static_cast<long>(time_outs.stall.count()));
    return handle;
}

/// User and password are handed over beside the URL, and what our lenient URLs may hold as it is gets encoded. To FTP
/// ";type=" would mean another kind of transfer, which changes bytes: there a ';' is part of the name.
std::string encoded_without_credentials(std::string_view url) {
    constexpr char hex[] = "0123456789ABCDEF";
    std::string encoded;
    std::string const bare = without_user_info(url.substr(0, url.find('#'))).readable;
    bool const is_ftp = kxbase::url_scheme(url) == "ftp";
    for (std::size_t i = 0; i != bare.size(); ++i) {
        auto const byte = static_cast<unsigned char>(bare[i]);
        bool const stray = (bare[i] == '%' && !begins_escape(bare, i)) || (bare[i] == ';' && is_ftp);
        if (byte > ' ' && byte < 0x7f && !stray) {
            encoded += bare[i];
        } else {
            encoded += '%';
            encoded += hex[byte >> 4];
            encoded += hex[byte & 15];
        }
    }
    return encoded;
}

bool begins_escape(std::string_view text, std::size_t at) {
    return text.size() - at > 2 && detail::hex_digit_value(text[at + 1]) >= 0 &&
           detail::hex_digit_value(text[at + 2]) >= 0;
}

void set_login(curl_handle const& handle, std::string_view url) {
    std::string const user = kxbase::url_user(url, true);
    std::string const password = kxbase::url_password(url, true);
    constexpr std::string_view ends_of_commands("\r\n\0", 3);
    // A dialogue of lines would take what follows for a command.
    for (std::string const& text : {user, password})
        if (text.find_first_of(ends_of_commands) != std::string::npos)
            kxbase::es::arg::raise("the user or the password of '" + url_for_messages(url) + "' holds an end of line");
    if (!user.empty()) set(handle, CURLOPT_USERNAME, user.c_str());
    if (!password.empty()) set(handle, CURLOPT_PASSWORD, password.c_str());
}

/// Beside the system's authorities those that the variables name which all programs with OpenSSL look at.
void trust_authorities(curl_handle const& handle) {
    char const* const file = std::getenv("SSL_CERT_FILE");  // NOLINT(concurrency-mt-unsafe)
    char const* const folder = std::getenv("SSL_CERT_DIR"); // NOLINT(concurrency-mt-unsafe)
    if (file != nullptr && *file != '\0') set(handle, CURLOPT_CAINFO, file);
    if (folder != nullptr && *folder != '\0') set(handle, CURLOPT_CAPATH, folder);
}

/// Only an answer that says so comes with the file: with a part of it (206), or another place that isn't named (300), what
/// was received is something else.
CURLcode performed(curl_handle const& handle, std::string_view url, bool sends) {
    CURLcode const code = curl_easy_perform(handle.get());
    long answered = 0;
    curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &answered);
    bool const is_http = kxbase::url_scheme(url).starts_with("http");
    bool const fits = sends ? answered / 100 == 2 : answered == 200 || answered == 203;
    return code == CURLE_OK && is_http && !fits ? CURLE_HTTP_RETURNED_ERROR : code;
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
    message += said_of(handle, code, answered);
    if (answered != 0) message += " (the server answered " + std::to_string(answered) + ")";
    kxbase::es::call::raise(message);
}

std::string said_of(CURL* handle, CURLcode code, long answered) {
    if (code == CURLE_PEER_FAILED_VERIFICATION) {
        long reason = X509_V_OK;
        curl_easy_getinfo(handle, CURLINFO_SSL_VERIFYRESULT, &reason);
        // A certificate that is fine by itself leaves one of these.
        if (reason == X509_V_OK || reason == X509_V_ERR_UNSPECIFIED)
            return "the server's certificate is for another name";
        return std::string("the server's certificate is not trusted: ") + X509_verify_cert_error_string(reason);
    }
    long redirections = 0;
    curl_easy_getinfo(handle, CURLINFO_REDIRECT_COUNT, &redirections);
    if (redirections != 0 && (code == CURLE_UNSUPPORTED_PROTOCOL || code == CURLE_URL_MALFORMAT))
        return "the server redirects to another kind of place, which is not followed";
    if (code == CURLE_HTTP_RETURNED_ERROR)
        for (failure const& row : http_failures)
            if (row.code == answered) return std::string(row.text);
    for (failure const& row : failures)
        if (row.code == code) return std::string(row.text);
    return curl_easy_strerror(code);
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
    taken.broken_off = size > room || (taken.stops_when_full && size == room);
    return taken.broken_off ? 0 : size;
}

std::size_t kxcore_transfer_give(char* data, std::size_t unit, std::size_t count, void* from) {
    std::string_view& rest = static_cast<outgoing*>(from)->rest;
    std::size_t const size = std::min(unit * count, rest.size());
    std::copy_n(rest.begin(), size, data);
    rest.remove_prefix(size);
    return size;
}

int kxcore_transfer_rewind(void* from, curl_off_t offset, int origin) {
    outgoing& sent = *static_cast<outgoing*>(from);
    if (origin != SEEK_SET || offset < 0 || static_cast<std::size_t>(offset) > sent.content.size())
        return CURL_SEEKFUNC_FAIL;
    sent.rest = sent.content.substr(static_cast<std::size_t>(offset));
    return CURL_SEEKFUNC_OK;
}
}

} // namespace

} // namespace kxcore::transfer
