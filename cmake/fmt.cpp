// The part of fmt that its headers declare but don't define. See HeaderOnly.cmake.
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {
template FMT_API auto thousands_sep_impl(locale_ref) -> thousands_sep_result<char>;
template FMT_API auto decimal_point_impl(locale_ref) -> char;
template FMT_API void buffer<char>::append(const char*, const char*);
template FMT_API auto dragonbox::to_decimal(float x) noexcept -> dragonbox::decimal_fp<float>;
template FMT_API auto dragonbox::to_decimal(double x) noexcept -> dragonbox::decimal_fp<double>;
}  // namespace detail
FMT_END_NAMESPACE
