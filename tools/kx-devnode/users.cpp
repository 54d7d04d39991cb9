#include "users.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>

namespace devnode {
namespace {

constexpr std::size_t digest_size = 40;
constexpr std::string_view hexadecimal = "0123456789abcdef";

char in_lower_case(char digit) {
    return digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
}

bool equal_in_constant_time(std::string_view left, std::string_view right) noexcept {
    if (left.size() != right.size()) return false;
    // Volatile: an optimiser must not stop at the first difference.
    unsigned char volatile difference = 0;
    for (std::size_t i = 0; i != left.size(); ++i)
        difference = static_cast<unsigned char>(difference | static_cast<unsigned char>(left[i] ^ right[i]));
    return difference == 0;
}

} // namespace

std::string users::add(std::string_view account) {
    auto const colon = account.rfind(':');
    if (colon == std::string_view::npos || colon == 0) return "a user is NAME:SHA1HEX";
    std::string digest(account.substr(colon + 1));
    std::transform(digest.begin(), digest.end(), digest.begin(), in_lower_case);
    if (digest.size() != digest_size || digest.find_first_not_of(hexadecimal) != std::string::npos)
        return "a password's SHA-1 digest has 40 hexadecimal digits: printf %s PASSWORD | sha1sum";
    if (!digests_.try_emplace(std::string(account.substr(0, colon)), digest).second) return "the same user twice";
    return {};
}

std::string users::add_file(std::string const& file) {
    struct stat found = {};
    std::ifstream in(file);
    if (!in || ::stat(file.c_str(), &found) != 0) return "cannot read " + file;
    if ((found.st_mode & (S_IRWXG | S_IRWXO)) != 0) return "others can use " + file + " (chmod 600)";
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        if (line.ends_with('\r')) line.pop_back();
        if (line.empty() || line.front() == '#') continue;
        std::string const complaint = add(line);
        if (!complaint.empty()) return (file + ':').append(std::to_string(number)).append(": ").append(complaint);
    }
    return in.bad() ? "cannot read " + file : "";
}

bool users::may_log_in(std::string const& name, std::string_view digest) const noexcept {
    static std::string const of_nobody(digest_size, '-');
    auto const found = digests_.find(name);
    bool const is_known = found != digests_.end();
    return equal_in_constant_time(is_known ? found->second : of_nobody, digest) && is_known;
}

} // namespace devnode
