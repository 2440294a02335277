#pragma once

#include <tavix/genicam.h>

#include <cstdint>
#include <string>

namespace Tavix {

// The value a feature's text stands for, as every node map reads it in FromString. The whole
// text must be a value of the feature's type: "1600.7" is no integer and "100abc" no number.
// A text that is none throws GenICam::InvalidArgumentException, a number that the type can't
// hold GenICam::OutOfRangeException; both name the text and the feature.
int64_t integerFromText(const GenICam::gcstring& text, const std::string& feature);
// A decimal number, with a fraction and an exponent where wanted; no infinity, no NaN.
double floatFromText(const GenICam::gcstring& text, const std::string& feature);
// "true" or "1", "false" or "0".
bool booleanFromText(const GenICam::gcstring& text, const std::string& feature);

} // namespace Tavix
