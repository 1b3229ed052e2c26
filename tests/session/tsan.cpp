// For ThreadSanitizer: the count of an exception's owners is kept inside the standard library's
// binary, which it does not see into. It takes the last owner's release for a race with the
// others'.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_suppressions();

// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer's own name
extern "C" const char* __tsan_default_suppressions() {
  return "race:std::__exception_ptr::exception_ptr::_M_release\n";
}
