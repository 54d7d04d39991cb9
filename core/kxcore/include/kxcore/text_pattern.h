#pragma once

/// @file
/// Regular expressions as documents hold them, for whoever asks whether a text fits one.

#include <kxcore/export.h>

#include <memory>
#include <string>
#include <string_view>

namespace kxcore {

/// A regular expression in RE2 syntax, held to RE2's default memory budget. A text fits it when all of it does; '.' stands
/// for a line end too, since file names may hold one. Matching takes linear time whatever the expression is.
///
/// In valid UTF-8 the expression goes by characters; any other text it goes by bytes.
///
/// A value; copies share the compiled expression, and any number of threads may match with it.
class KXCORE_EXPORT text_pattern {
public:
    /// @throws es::arg saying what is wrong with the expression, which is shown shortened
    explicit text_pattern(std::string_view expression);

    /// Whether the whole text fits.
    [[nodiscard]] bool matches(std::string_view text) const;

    /// The expression as it was given.
    [[nodiscard]] std::string const& expression() const noexcept;

private:
    struct compiled;
    std::shared_ptr<compiled const> compiled_;
};

} // namespace kxcore
