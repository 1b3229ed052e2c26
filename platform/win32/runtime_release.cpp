// libstdc++ takes 73 KB for exceptions thrown out of memory when a library with it is loaded, and
// gives them back only when asked: without this every load and unload leaks them.

// Declared by no header.
namespace __gnu_cxx {
void __freeres();
}

namespace {

struct RuntimeRelease {
  ~RuntimeRelease() { __gnu_cxx::__freeres(); }
};

// The first object to be built, so the last to be destroyed.
[[gnu::init_priority(101)]] const RuntimeRelease runtime_release;

}  // namespace
