#include <mach/mach_error.h>

#include <map>
#include <string>

namespace {

/// Returns the platform's texts for the kernel's codes; a fault rule can give any of them.
const std::map<mach_error_t, const char*>& texts() {
  static const auto& known =
      *new std::map<mach_error_t, const char*>{{0, "(os/kern) successful"},
                                               {1, "(os/kern) invalid address"},
                                               {2, "(os/kern) protection failure"},
                                               {3, "(os/kern) no space available"},
                                               {4, "(os/kern) invalid argument"},
                                               {5, "(os/kern) failure"},
                                               {6, "(os/kern) resource shortage"},
                                               {7, "(os/kern) not receiver"},
                                               {8, "(os/kern) no access"},
                                               {15, "(os/kern) invalid name"},
                                               {16, "(os/kern) invalid task"},
                                               {17, "(os/kern) invalid right"},
                                               {18, "(os/kern) invalid value"},
                                               {22, "(os/kern) invalid host"},
                                               {37, "(os/kern) object terminated"},
                                               {46, "(os/kern) not supported"},
                                               {0x10000003, "(ipc/send) invalid destination port"}};
  return known;
}

}  // namespace

char* mach_error_string(mach_error_t error) {
  const auto found = texts().find(error);
  // The platform's signature returns a mutable text, but callers must not change it.
  return const_cast<char*>(found == texts().end() ? "(os/?) unknown error code" : found->second);
}
