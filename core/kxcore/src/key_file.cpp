#include "key_file.h"

#include "file_io.h"
#include "text_escape.h"
#include "unique_fd.h"

#include <kxcore/process_context.h>

#include <kxbase/errors.h>

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace kxcore {

namespace {

// One digit too many is read, so that a longer file is told from a key.
constexpr std::size_t digits = 64;
constexpr std::size_t text_size = digits + 1;
using key_text = std::array<char, text_size + 1>;

[[noreturn]] void refuse(std::string const& path, char const* why);
unique_fd open_key_file(std::string const& path);
void make_key_file(std::string const& path);
void check_owner_only(int fd, std::string const& path);
std::size_t read_text(int fd, key_text& text, std::string const& path);
bool parse(key_text const& text, std::size_t size, credential_key& key);

} // namespace

credential_key::~credential_key() {
    OPENSSL_cleanse(bytes.data(), bytes.size());
}

void load_key(credential_key& key, e_missing_key missing) {
    std::string const path = process_context::instance().get_key_file();
    if (path.empty())
        kxbase::es::arg::raise("no key file for credentials: KX_KEY_FILE is not set and no installation is loaded");
    unique_fd fd = open_key_file(path);
    if (!fd && missing == e_missing_key::made) {
        make_key_file(path);
        fd = open_key_file(path);
    }
    if (!fd) refuse(path, "there is no such file");
    check_owner_only(fd.get(), path);
    key_text text;
    std::size_t const size = read_text(fd.get(), text, path);
    bool const parsed = parse(text, size, key);
    OPENSSL_cleanse(text.data(), text.size());
    if (!parsed) refuse(path, "expected one line of 64 hexadecimal digits");
}

namespace {

void refuse(std::string const& path, char const* why) {
    kxbase::es::arg::raise("key file '" + path + "' refused: " + why);
}

unique_fd open_key_file(std::string const& path) {
    unique_fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (fd || errno == ENOENT) return fd;
    if (errno == ELOOP) refuse(path, "it is a symbolic link");
    kxbase::es::call::raise("cannot open key file '" + path + "': " + std::generic_category().message(errno));
}

/// The key as text, wiped when it has been written.
struct wiped_text {
    std::array<char, text_size> chars{};

    wiped_text() = default;
    wiped_text(wiped_text const&) = delete;
    wiped_text& operator=(wiped_text const&) = delete;
    ~wiped_text() { OPENSSL_cleanse(chars.data(), chars.size()); }
};

/// Another process may make it at the same time: then that one's key is the key.
void make_key_file(std::string const& path) {
    credential_key fresh;
    if (RAND_bytes(fresh.bytes.data(), static_cast<int>(fresh.bytes.size())) != 1)
        kxbase::es::call::raise("no random numbers for a key");
    constexpr char digit[] = "0123456789abcdef";
    wiped_text text;
    for (std::size_t i = 0; i != fresh.bytes.size(); ++i) {
        text.chars[2 * i] = digit[fresh.bytes[i] >> 4];
        text.chars[2 * i + 1] = digit[fresh.bytes[i] & 15];
    }
    text.chars.back() = '\n';
    try {
        static_cast<void>(file_io::create_file(path, {text.chars.data(), text.chars.size()}));
    } catch (kxbase::es::call const& error) {
        kxbase::es::call::raise("cannot make key file '" + path + "': " + error.message());
    }
}

void check_owner_only(int fd, std::string const& path) {
    struct stat found = {};
    if (::fstat(fd, &found) != 0)
        kxbase::es::call::raise("cannot read key file '" + path + "': " + std::generic_category().message(errno));
    if (!S_ISREG(found.st_mode)) refuse(path, "it is not a regular file");
    if (found.st_uid != ::geteuid()) refuse(path, "it belongs to another user");
    if ((found.st_mode & 0077) != 0) refuse(path, "others than its owner may use it; its mode must be 0600");
}

std::size_t read_text(int fd, key_text& text, std::string const& path) {
    std::size_t got = 0;
    while (got < text.size()) {
        ssize_t const n = ::read(fd, text.data() + got, text.size() - got);
        if (n == 0) break;
        if (n > 0)
            got += static_cast<std::size_t>(n);
        else if (errno != EINTR)
            kxbase::es::call::raise("cannot read key file '" + path + "': " + std::generic_category().message(errno));
    }
    return got;
}

bool parse(key_text const& text, std::size_t size, credential_key& key) {
    if (size != digits && (size != text_size || text[digits] != '\n')) return false;
    for (std::size_t i = 0; i != key.bytes.size(); ++i) {
        int const high = detail::hex_digit_value(text[2 * i]);
        int const low = detail::hex_digit_value(text[2 * i + 1]);
        if (high < 0 || low < 0) return false;
        key.bytes[i] = static_cast<unsigned char>(high * 16 + low);
    }
    return true;
}

} // namespace

} // namespace kxcore
