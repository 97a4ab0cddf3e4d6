#pragma once

#include <string>

namespace Agent {

// A plug-in's shared object, loaded for the life of this object. Its types are in the type
// registry meanwhile. std::runtime_error, in one line, if it cannot be loaded.
class PluginLibrary {
 public:
   explicit PluginLibrary( const std::string& path );
   ~PluginLibrary();
   PluginLibrary( const PluginLibrary& ) = delete;
   PluginLibrary& operator=( const PluginLibrary& ) = delete;

 private:
   void* handle_;
};

// Where the plug-in is looked for by default: beside the executable, in the build tree,
// where it is installed. Empty if it is nowhere there.
std::string findPlugin();

} // namespace Agent
