#pragma once

#include <tl/expected.hpp>

#include <utility>

namespace wingbell {

/// What an operation gives that can fail: a value, or the error that says why there is none. This
/// is std::expected of C++23, under its names: has_value(), *, ->, error().
///
/// Types of errors end in Error. Where there is nothing to say of a failure, return std::optional.
template <typename Value, typename Error> using Result = tl::expected<Value, Error>;

/// The failed Result with `error`; converts to any Result that has an error of this type.
template <typename Error> [[nodiscard]] tl::unexpected<Error> failure(Error error)
{
    return tl::unexpected<Error>(std::move(error));
}

} // namespace wingbell
