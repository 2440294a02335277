#include <tavix/featurevalue.h>

#include <charconv>
#include <cmath>
#include <system_error>

namespace Tavix {
namespace {

[[noreturn]] void refuse(const GenICam::gcstring& text, const std::string& feature, const char* kind)
{
    const std::string message = "'" + text.toStdString() + "' is no " + kind + " for '" + feature + "'.";
    throw GenICam::InvalidArgumentException(message.c_str(), __FILE__, __LINE__);
}

[[noreturn]] void outOfRange(const GenICam::gcstring& text, const std::string& feature, const char* kind)
{
    const std::string message = "'" + text.toStdString() + "' is beyond the range of " + kind + " for '" + feature + "'.";
    throw GenICam::OutOfRangeException(message.c_str(), __FILE__, __LINE__);
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// The digits after an optional sign; from_chars takes a minus but no plus.
const char* numberStart(const char* begin, const char* end)
{
    if (end - begin >= 2 && *begin == '+' && (isDigit(begin[1]) || begin[1] == '.'))
        return begin + 1;
    return begin;
}

} // namespace

int64_t integerFromText(const GenICam::gcstring& text, const std::string& feature)
{
    const char* end = text.c_str() + text.size();
    int64_t value = 0;
    const auto [last, error] = std::from_chars(numberStart(text.c_str(), end), end, value, 10);
    if (error == std::errc::result_out_of_range && last == end)
        outOfRange(text, feature, "an integer");
    if (error != std::errc() || last != end)
        refuse(text, feature, "integer");
    return value;
}

double floatFromText(const GenICam::gcstring& text, const std::string& feature)
{
    const char* end = text.c_str() + text.size();
    const char* start = numberStart(text.c_str(), end);
    // from_chars would take "inf" and "nan" as well.
    const char* digits = start != end && *start == '-' ? start + 1 : start;
    if (digits == end || !(isDigit(*digits) || *digits == '.'))
        refuse(text, feature, "number");
    double value = 0;
    const auto [last, error] = std::from_chars(start, end, value, std::chars_format::general);
    if (error == std::errc::result_out_of_range && last == end)
        outOfRange(text, feature, "a number");
    if (error != std::errc() || last != end || !std::isfinite(value))
        refuse(text, feature, "number");
    return value;
}

bool booleanFromText(const GenICam::gcstring& text, const std::string& feature)
{
    if (text == "true" || text == "1")
        return true;
    if (text == "false" || text == "0")
        return false;
    refuse(text, feature, "boolean (true, false, 1 or 0)");
}

} // namespace Tavix
