#include "base/Error.h"

#include <cerrno>
#include <cstring>

namespace qv::err {

namespace {
AppError RuntimeError(int32_t number, const char* text) { return AppError(number, kExeName, text); }
}  // namespace

AppError InvalidArgument() { return RuntimeError(kInvalidArgument, "Invalid procedure call or argument"); }
AppError Overflow() { return RuntimeError(kOverflow, "Overflow"); }
AppError OutOfMemory() { return RuntimeError(kOutOfMemory, "Out of memory"); }
AppError SubscriptOutOfRange() { return RuntimeError(kSubscriptOutOfRange, "Subscript out of range"); }
AppError DivisionByZero() { return RuntimeError(kDivisionByZero, "Division by zero"); }
AppError TypeMismatch() { return RuntimeError(kTypeMismatch, "Type mismatch"); }
AppError ObjectNotSet() {
  return RuntimeError(kObjectNotSet, "Object variable or With block variable not set");
}

AppError FromErrno(int errnoValue, const std::string& source) {
  int32_t number = 0;
  switch (errnoValue) {
    case ENOENT: number = kFileNotFound; break;
    case EACCES:
    case EPERM:
    case EROFS:
    case ETXTBSY: number = kPermissionDenied; break;
    case ENOTDIR: number = kPathNotFound; break;
    case ENOMEM: number = kOutOfMemory; break;
    default: number = kInvalidArgument; break;
  }
  return AppError(number, source, std::strerror(errnoValue));
}

}  // namespace qv::err

namespace qv {

std::string DescribeError(const std::exception& e) {
  if (const auto* app = dynamic_cast<const AppError*>(&e)) return app->Description();
  if (dynamic_cast<const std::bad_alloc*>(&e)) return "Out of memory";
  return e.what();
}

}  // namespace qv
