#include "base/Numbers.h"

#include <cctype>
#include <string>

namespace qv {

namespace {

// Parses [sign] digits [. digits] [exponent] from text[pos]; returns the number of characters used
// (0 when there is no number) and the value through out.
size_t ParseNumber(std::string_view text, size_t pos, double& out) {
  const size_t start = pos;
  bool negative = false;
  if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) {
    negative = text[pos] == '-';
    ++pos;
  }
  const size_t mantissaStart = pos;
  double value = 0.0;
  while (pos < text.size() && std::isdigit(static_cast<unsigned char>(text[pos]))) {
    value = value * 10.0 + (text[pos] - '0');
    ++pos;
  }
  size_t digits = pos - mantissaStart;
  if (pos < text.size() && text[pos] == '.') {
    size_t p = pos + 1;
    double scale = 0.1;
    while (p < text.size() && std::isdigit(static_cast<unsigned char>(text[p]))) {
      value += (text[p] - '0') * scale;
      scale /= 10.0;
      ++p;
    }
    digits += p - pos - 1;
    if (p - pos - 1 > 0 || digits > 0) pos = p;
  }
  if (digits == 0) return 0;
  if (pos < text.size() && (text[pos] == 'e' || text[pos] == 'E')) {
    size_t p = pos + 1;
    bool expNegative = false;
    if (p < text.size() && (text[p] == '+' || text[p] == '-')) {
      expNegative = text[p] == '-';
      ++p;
    }
    const size_t expStart = p;
    int exponent = 0;
    while (p < text.size() && std::isdigit(static_cast<unsigned char>(text[p]))) {
      if (exponent < 10000) exponent = exponent * 10 + (text[p] - '0');
      ++p;
    }
    if (p > expStart) {
      value *= std::pow(10.0, expNegative ? -exponent : exponent);
      pos = p;
    }
  }
  out = negative ? -value : value;
  return pos - start;
}

}  // namespace

double LeadingNumber(std::string_view text) {
  size_t pos = 0;
  while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) ++pos;
  double value = 0.0;
  return ParseNumber(text, pos, value) > 0 ? value : 0.0;
}

int16_t ToInt16FromText(std::string_view text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  double value = 0.0;
  const std::string_view body = text.substr(begin, end - begin);
  if (body.empty() || ParseNumber(body, 0, value) != body.size()) throw err::TypeMismatch();
  return ToInt16Checked(value);
}

}  // namespace qv
