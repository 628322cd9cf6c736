// What the agent loads while it runs: the plug-in, and the helper of the hardware.
#ifndef ORLOAGENT_LIBRARY_H
#define ORLOAGENT_LIBRARY_H

#include "OrloVrrpHelper/HardwareView.h"
#include "OrloVrrpHelper/HardwareWork.h"
#include "OrloVrrpHelper/HelperModule.h"
#include "types/Plugin.h"

#include <stdexcept>
#include <string>

namespace OrloAgent {

/// A library that cannot be used; what() says which, why, and what to do.
class LibraryError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// A shared object (dlopen(3)), loaded for as long as this object lives. A name without '/' is
/// looked up beside the agent's own libraries first, then where the system looks.
class Library {
 public:
   /// `what` it is, and `advice` when it cannot be loaded, are for errors. Throws LibraryError; a
   /// library whose own start-up throws ends the process, with a line that says why, and status 1.
   Library( std::string path, const std::string &what, const std::string &advice );
   ~Library();
   Library( const Library & ) = delete;
   Library &operator=( const Library & ) = delete;

   const std::string &path() const noexcept { return path_; }
   /// Null when the library has no such symbol.
   void *symbol( const char *name ) const;

 private:
   const std::string path_;
   void *handle_;
};

/// The plug-in: must outlive every object that it made.
class PluginLibrary {
 public:
   static constexpr char kDefaultPath[] = "liborlovrrp.so.1";

   /// Throws LibraryError, also when the library is of another version.
   explicit PluginLibrary( const std::string &path );
   const Orlo::Plugin &operator*() const noexcept { return *plugin_; }
   const Orlo::Plugin *operator->() const noexcept { return plugin_; }

 private:
   const Library library_;
   const Orlo::Plugin *plugin_;
};

/// The module of a hardware helper. Loaded after the plug-in, whose classes it derives from; must
/// outlive the helpers that it made.
class HelperLibrary {
 public:
   /// Throws LibraryError.
   explicit HelperLibrary( const std::string &path );
   /// Throws LibraryError with the module's own reason.
   Quor::Ptr<OrloHelper::VrrpSmHelper> make( const OrloHelper::HelperSettings &settings ) const;

 private:
   const Library library_;
   decltype( &orloHelperNew ) new_;
};

/// What the helper offers beside; null when it does not. It lives as long as the helper.
const OrloHelper::HardwareView *viewOf( const Quor::Ptr<OrloHelper::VrrpSmHelper> &helper );
OrloHelper::HardwareWork *workOf( const Quor::Ptr<OrloHelper::VrrpSmHelper> &helper );

} // namespace OrloAgent

#endif
