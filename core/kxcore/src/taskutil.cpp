#include <kxcore/taskutil.h>

#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <array>
#include <charconv>
#include <optional>
#include <string>

namespace kxcore::taskutil {

namespace {

/// A line that is understood: where it stands in a preset, and where its value goes.
struct known_line {
    std::string_view section;
    std::string_view key;
    std::string_view path;
    property_kind kind;
};

constexpr auto as_text = property_kind::string;
constexpr auto as_int = property_kind::integer;
constexpr auto as_bool = property_kind::boolean;

// Sections and keys are compared in lower case, a blank or an underscore counting as a hyphen. Lines before the first
// section belong to that of the empty name.
constexpr std::array known_lines{
    known_line{"", "name", "name", as_text},
    known_line{"", "threads", "threads", as_int},
    known_line{"", "extension", "dest-extension", as_text},
    known_line{"general", "name", "name", as_text},
    known_line{"general", "threads", "threads", as_int},
    known_line{"general", "extension", "dest-extension", as_text},
    known_line{"container", "type", "container{type}", as_text},
    known_line{"container", "fast-start", "container{fast-start}", as_bool},
    known_line{"container", "timecode-track", "container{timecode-track}", as_bool},
    known_line{"video", "enabled", "video{enabled}", as_bool},
    known_line{"video", "codec", "video{codec}", as_text},
    known_line{"video", "profile", "video{profile}", as_text},
    known_line{"video", "level", "video{level}", as_text},
    known_line{"video", "width", "video{width}", as_int},
    known_line{"video", "height", "video{height}", as_int},
    known_line{"video", "framerate", "video{framerate}", as_text},
    known_line{"video", "rate-control", "video{rate-control}", as_text},
    known_line{"video", "bitrate", "video{bitrate-kbps}", as_int},
    known_line{"video", "max-bitrate", "video{max-bitrate-kbps}", as_int},
    known_line{"video", "buffer-size", "video{buffer-size-kb}", as_int},
    known_line{"video", "quality", "video{quality}", as_int},
    known_line{"video", "passes", "video{passes}", as_int},
    known_line{"video", "preset", "video{preset}", as_text},
    known_line{"video", "pixel-format", "video{pixel-format}", as_text},
    known_line{"video", "scaling", "video{scaling}", as_text},
    known_line{"video", "deinterlace", "video{deinterlace}", as_text},
    known_line{"video", "keyframe-interval", "video{gop}{keyframe-interval}", as_int},
    known_line{"video", "b-frames", "video{gop}{b-frames}", as_int},
    known_line{"video", "reference-frames", "video{gop}{reference-frames}", as_int},
    known_line{"audio", "enabled", "audio{enabled}", as_bool},
    known_line{"audio", "codec", "audio{codec}", as_text},
    known_line{"audio", "profile", "audio{profile}", as_text},
    known_line{"audio", "rate-control", "audio{rate-control}", as_text},
    known_line{"audio", "bitrate", "audio{bitrate-kbps}", as_int},
    known_line{"audio", "channels", "audio{channels}", as_int},
    known_line{"audio", "samplerate", "audio{samplerate}", as_int},
    known_line{"audio", "language", "audio{language}", as_text},
};

/// The lines that are not understood, each under the header of its section: a smaller preset.
class unknown_lines {
public:
    /// Says what section the lines that follow stand in.
    void enter(std::string_view header) { header_ = header; }

    void add(std::string_view line);

    [[nodiscard]] bool empty() const { return lines_.empty(); }
    [[nodiscard]] property_list const& lines() const { return lines_; }

private:
    std::string_view header_;
    std::string_view header_added_;
    property_list lines_;
};

std::string_view next_line(std::string_view& rest);
std::string_view without_blanks(std::string_view text);
std::optional<std::string> section_of(std::string_view line);
std::string normalized(std::string_view text);
bool take_known_line(std::string_view section, std::string_view line, properties& configuration);
property_handle parse_value(property_kind kind, std::string_view value);

} // namespace

kxbase::ptr_refcount<properties> create_configuration_from_setting(std::string_view name, std::string_view text,
                                                                   bool keep_unknown) {
    std::size_t const limit = kxbase::current_limits().document;
    if (text.size() > limit)
        kxbase::es::arg::raise("a preset of more than " + std::to_string(limit) + " bytes (limit document)");
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (text.starts_with(byte_order_mark)) text.remove_prefix(byte_order_mark.size());

    auto configuration = kxbase::make_refcount<properties>();
    unknown_lines unknown;
    std::string section;
    while (!text.empty()) {
        std::string_view const line = next_line(text);
        if (without_blanks(line).empty()) continue;
        if (std::optional<std::string> entered = section_of(line)) {
            section = std::move(*entered);
            unknown.enter(line);
        } else if (!take_known_line(section, line, *configuration)) {
            unknown.add(line);
        }
    }
    if (keep_unknown && !unknown.empty())
        configuration->set_property("setting", kxbase::make_refcount<property_list>(unknown.lines()));
    if (configuration->get_string_value("name", "").empty())
        configuration->set_property("name", kxbase::make_refcount<property_string>(name.empty() ? "Untitled" : name));
    return configuration;
}

namespace {

void unknown_lines::add(std::string_view line) {
    // Headers are told apart by where they stand: two sections of one name are entered twice.
    if (header_.data() != header_added_.data()) {
        lines_.push_back(kxbase::make_refcount<property_string>(header_));
        header_added_ = header_;
    }
    lines_.push_back(kxbase::make_refcount<property_string>(line));
}

/// Takes a line off, without the characters that end it.
std::string_view next_line(std::string_view& rest) {
    std::size_t const end = rest.find_first_of("\r\n");
    std::string_view const line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return line;
}

std::string_view without_blanks(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    std::size_t const first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// The name in a line `[name]`; nothing for another line.
std::optional<std::string> section_of(std::string_view line) {
    line = without_blanks(line);
    if (line.size() < 2 || line.front() != '[' || line.back() != ']') return std::nullopt;
    return normalized(line.substr(1, line.size() - 2));
}

std::string normalized(std::string_view text) {
    std::string result(without_blanks(text));
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c == ' ' || c == '_') c = '-';
    }
    return result;
}

/// Sets what the line says; false when it is not understood. The first of two lines for one value counts.
bool take_known_line(std::string_view section, std::string_view line, properties& configuration) {
    std::size_t const sign = line.find('=');
    if (sign == std::string_view::npos) return false;
    std::string const key = normalized(line.substr(0, sign));
    for (known_line const& known : known_lines) {
        if (known.section != section || known.key != key) continue;
        property_handle value = parse_value(known.kind, without_blanks(line.substr(sign + 1)));
        if (!value || configuration.get_referenced_property(known.path)) return false;
        configuration.set_create_referenced_property(known.path, std::move(value));
        return true;
    }
    return false;
}

property_handle parse_value(property_kind kind, std::string_view value) {
    if (kind == as_bool) {
        bool const is_true = value == "true" || value == "yes" || value == "on" || value == "1";
        bool const is_false = value == "false" || value == "no" || value == "off" || value == "0";
        return is_true || is_false ? kxbase::make_refcount<property_bool>(is_true) : property_handle();
    }
    if (kind == as_text) return value.empty() ? property_handle() : kxbase::make_refcount<property_string>(value);
    std::int64_t found = 0;
    auto const result = std::from_chars(value.data(), value.data() + value.size(), found);
    bool const whole = result.ec == std::errc() && result.ptr == value.data() + value.size();
    return whole ? kxbase::make_refcount<property_int>(found) : property_handle();
}

} // namespace

} // namespace kxcore::taskutil
