// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <string>

#if !defined(KT_CLIENTS_LINKED)
#include <dlfcn.h>
#endif

// Client libraries of databases and spreadsheets bring dozens of libraries along (for encryption,
// directories, tickets), which cost a program that starts 6 ms. So they are loaded when the first
// function of theirs is needed, and the functions are variables of their names in kt::detail, which
// code in that namespace finds before those of the header. Every connector calls its Load function
// before anything else.
//
// KT_CLIENTS_LINKED: the libraries are linked as usual, and the names are the functions themselves.
namespace kt::detail {

#if !defined(KT_CLIENTS_LINKED)

// A library that is loaded at most once and stays. Threads: any.
class ClientLibrary {
 public:
  // `bind` calls Find for every function that is needed.
  using Bind = void (*)(ClientLibrary& from);
  constexpr ClientLibrary(const char* file, Bind bind) : file_(file), bind_(bind) {}
  ClientLibrary(const ClientLibrary&) = delete;
  ClientLibrary& operator=(const ClientLibrary&) = delete;

  // False, with the reason, when the library or one of its functions is not there. A library that
  // was not there may be at the next call.
  bool Load(std::string& error) {
    const std::lock_guard lock(mutex_);
    if (is_whole_) return true;
    if (handle_ == nullptr) handle_ = ::dlopen(file_, RTLD_LAZY | RTLD_LOCAL);
    if (handle_ == nullptr) {
      const char* const reason = ::dlerror();
      error =
          std::string("cannot load its client library: ") + (reason != nullptr ? reason : file_);
      return false;
    }
    missing_ = nullptr;
    bind_(*this);
    is_whole_ = missing_ == nullptr;
    if (!is_whole_) error = std::string(file_) + " has no function " + missing_;
    return is_whole_;
  }
  template <class Function>
  void Find(const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(::dlsym(handle_, name));
    if (function == nullptr) missing_ = name;
  }

 private:
  const char* file_;
  Bind bind_;
  std::mutex mutex_;
  void* handle_ = nullptr;
  const char* missing_ = nullptr;
  bool is_whole_ = false;
};

#define KT_CLIENT_FUNCTION(name) inline decltype(&::name) name = nullptr;
#define KT_CLIENT_FIND(name) from.Find(#name, name);

// The library `file` with the functions of the list: variables of their names, and
// bool load(std::string& error).
#define KT_CLIENT_LIBRARY(load, file, functions)                                               \
  functions(KT_CLIENT_FUNCTION) inline bool load(std::string& error) {                         \
    static ClientLibrary library(file, [](ClientLibrary& from) { functions(KT_CLIENT_FIND) }); \
    return library.Load(error);                                                                \
  }

#else

#define KT_CLIENT_FUNCTION(name) using ::name;
#define KT_CLIENT_LIBRARY(load, file, functions) \
  functions(KT_CLIENT_FUNCTION) inline bool load(std::string&) { return true; }

#endif

}  // namespace kt::detail
