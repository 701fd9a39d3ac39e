#pragma once
// The one error type of the program. Components raise it with a number, the name of the component
// that raised it and a text for the user; routine-level handlers show "<routine message>" followed
// directly by Description().

#include <cstdint>
#include <exception>
#include <string>

namespace qv {

inline constexpr const char* kAppName = "Quorvex";  // the application's title and error-source prefix
inline constexpr const char* kExeName = "quorvex";  // the executable's name

// Object errors are numbered from this base (0x80040000 read as a signed 32-bit value).
inline constexpr int32_t kObjectErrorBase = static_cast<int32_t>(0x80040000u);

class AppError : public std::exception {
 public:
  AppError(int32_t number, std::string source, std::string description)
      : number_(number), source_(std::move(source)), description_(std::move(description)) {}

  int32_t Number() const { return number_; }
  const std::string& Source() const { return source_; }
  const std::string& Description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  int32_t number_;
  std::string source_;
  std::string description_;
};

// The run-time errors that the program's own code raises, with their usual numbers and texts.
namespace err {
inline constexpr int32_t kInvalidArgument = 5;
inline constexpr int32_t kOverflow = 6;
inline constexpr int32_t kOutOfMemory = 7;
inline constexpr int32_t kSubscriptOutOfRange = 9;
inline constexpr int32_t kDivisionByZero = 11;
inline constexpr int32_t kTypeMismatch = 13;
inline constexpr int32_t kFileNotFound = 53;
inline constexpr int32_t kBadFileMode = 54;
inline constexpr int32_t kPermissionDenied = 70;
inline constexpr int32_t kPathNotFound = 76;
inline constexpr int32_t kObjectNotSet = 91;

AppError InvalidArgument();
AppError Overflow();
AppError OutOfMemory();
AppError SubscriptOutOfRange();
AppError DivisionByZero();
AppError TypeMismatch();
AppError ObjectNotSet();
// An error from the operating system, described by its own text (errno).
AppError FromErrno(int errnoValue, const std::string& source = kExeName);
}  // namespace err

// The description of any exception, as a message box after a routine's text would show it.
std::string DescribeError(const std::exception& e);

}  // namespace qv
