// The functions of fmt, and the templates that its headers declare extern.
#include <fmt/format-inl.h>

namespace fmt::detail {
template auto dragonbox::to_decimal(float value) noexcept -> dragonbox::decimal_fp<float>;
template auto dragonbox::to_decimal(double value) noexcept -> dragonbox::decimal_fp<double>;
template auto thousands_sep_impl(locale_ref) -> thousands_sep_result<char>;
template auto decimal_point_impl(locale_ref) -> char;
template void buffer<char>::append(const char*, const char*);
template void vformat_to(buffer<char>&, string_view, basic_format_args<buffer_context<char>>, locale_ref);
}  // namespace fmt::detail
