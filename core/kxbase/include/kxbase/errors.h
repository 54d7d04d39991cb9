#pragma once

/// @file
/// The `es` family of exceptions. Which class says whose fault it is: `arg` a bad argument or a bad document, `unsupp`
/// a request that is not supported, `call` a failed call to another party: a node, a server, the file system.

#include <kxbase/export.h>
#include <kxbase/source_position.h>

#include <exception>
#include <memory>
#include <string>
#include <string_view>

namespace kxbase::es {

/// What all errors have in common: a finished message, which is never formatted again and shows no secret of a URL (as
/// `without_url_secrets` of urls.h), and the source position that raised it. Copying never throws.
class KXBASE_EXPORT base : public std::exception {
public:
    /// An error with its message and the source position that raises it; `raise` makes and throws one.
    base(std::string_view file, unsigned int line, std::string_view message);
    base(base const&) noexcept = default;
    base(base&&) noexcept = default;
    base& operator=(base const&) noexcept = default;
    base& operator=(base&&) noexcept = default;
    ~base() override;

    /// The text; the same as `what()`.
    [[nodiscard]] virtual char const* message() const noexcept;
    [[nodiscard]] char const* what() const noexcept override;

    /// The source position of whoever raised the error: a literal path in some places, the real file elsewhere.
    [[nodiscard]] char const* file() const noexcept;
    [[nodiscard]] unsigned int line() const noexcept;

private:
    struct details;
    std::shared_ptr<details const> details_;
};

/// A bad argument or a bad document.
class KXBASE_EXPORT arg : public base {
public:
    using base::base;
    /// Raises this error with a source position of the caller's choice. Null texts count as empty.
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
    [[noreturn]] static void raise(char const* file, unsigned int line, std::string_view message);
    /// Raises this error from where it is called.
    [[noreturn]] static void raise(std::string_view message, source_position where = source_position::current());
};

/// An unsupported request.
class KXBASE_EXPORT unsupp : public base {
public:
    using base::base;
    /// As `arg::raise`.
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
    [[noreturn]] static void raise(char const* file, unsigned int line, std::string_view message);
    [[noreturn]] static void raise(std::string_view message, source_position where = source_position::current());
};

/// A failed call to another party.
class KXBASE_EXPORT call : public base {
public:
    using base::base;
    /// As `arg::raise`.
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
    [[noreturn]] static void raise(char const* file, unsigned int line, std::string_view message);
    [[noreturn]] static void raise(std::string_view message, source_position where = source_position::current());
};

} // namespace kxbase::es
