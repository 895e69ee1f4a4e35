// The part of fmt that is compiled once, so that the others need no more than <fmt/core.h>. Debian has it compiled
// for Linux alone.
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

template FMT_API void vformat_to(buffer<char>&, string_view, basic_format_args<FMT_BUFFER_CONTEXT(char)>, locale_ref);
template FMT_API auto thousands_sep_impl(locale_ref) -> thousands_sep_result<char>;
template FMT_API auto decimal_point_impl(locale_ref) -> char;
template FMT_API auto dragonbox::to_decimal(float) noexcept -> dragonbox::decimal_fp<float>;
template FMT_API auto dragonbox::to_decimal(double) noexcept -> dragonbox::decimal_fp<double>;

} // namespace detail
FMT_END_NAMESPACE
