// libstdc++ takes 73 KB for exceptions thrown out of memory when a library with it is loaded, and
// gives them back only when asked: without this every load and unload leaks them.

// The library's own name for it, declared by no header.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
namespace __gnu_cxx {
void __freeres();
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

struct RuntimeRelease {
  ~RuntimeRelease() { __gnu_cxx::__freeres(); }
};

// The first object to be built, so the last to be destroyed.
[[gnu::init_priority(101)]] const RuntimeRelease runtime_release;

}  // namespace
