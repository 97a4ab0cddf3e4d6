#pragma once

// A folder that files are written into. It is opened once: whatever becomes of its path
// meanwhile, all files of a run come into the same folder, and links in it are never followed.
//
//    OutputFolder folder( "out" );
//    OutputFile file( folder, "Ethernet0.pcap" );
//    file.append( bytes );
//    file.complete();
//    file.takeName();
//    folder.keep();
//
// A file is written whole or not at all: it is made under a hidden name (".NAME.N.part") and
// then renamed. A file or folder that is not kept goes again. Hidden files whose writer was
// killed are removed when the folder is opened.
//
// All errors (folder not writable, disk full, the name is a directory) are CaptureError.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Agent {

class OutputFolder {
 public:
   // Made if it is missing; its parent has to exist.
   explicit OutputFolder( std::string path );
   ~OutputFolder();
   OutputFolder( const OutputFolder& ) = delete;
   OutputFolder& operator=( const OutputFolder& ) = delete;

   const std::string& path() const { return path_; }
   std::string pathOf( const std::string& name ) const { return path_ + "/" + name; }
   int descriptor() const { return descriptor_; }
   // Whether the path still leads to this folder.
   bool isThere() const;
   // Throws if a file of this name could not take the place of what is there.
   void checkReplaceable( const std::string& name ) const;
   // Removes a file of an earlier run, if there is one.
   void remove( const std::string& name ) const;
   // It stays, also if it was made here.
   void keep() { made_ = false; }

 private:
   void open();
   void removeRemains() const;

   std::string path_;
   int descriptor_ = -1;
   bool made_ = false; // by us, and not kept yet
};

class OutputFile {
 public:
   // The folder has to outlive it.
   OutputFile( const OutputFolder& folder, std::string name );
   ~OutputFile();
   OutputFile( const OutputFile& ) = delete;
   OutputFile& operator=( const OutputFile& ) = delete;

   // Buffers; nothing fails before it is flushed.
   void append( std::span< const uint8_t > bytes ) {
      buffer_.insert( buffer_.end(), bytes.begin(), bytes.end() );
   }
   void flushIfFull() {
      if ( buffer_.size() >= bufferBytes ) [[unlikely]] {
         flush();
      }
   }
   // Writes out what is buffered.
   void flush();
   // The same, and makes sure of it: nothing can fail any more but the renaming.
   void complete();
   // Gives the file its name, if it has not got it.
   void takeName();

   // Of a file that goes on after it took its name: what was flushed so far stays in it.
   void keep() { kept_ = written_; }
   bool hasKept() const { return kept_ > 0; }
   // Takes away what was appended since.
   void rollBack();
   // Whether the name still leads to this file, as it was kept.
   bool isIntact() const;

 private:
   static constexpr size_t bufferBytes = 256 * 1024;

   void makeHidden();
   [[noreturn]] void fail( int error ) const;

   const OutputFolder& folder_;
   const std::string name_;
   std::string hidden_; // its name as long as it has not got its own
   int descriptor_ = -1;
   std::vector< uint8_t > buffer_;
   off_t written_ = 0;
   off_t kept_ = 0;
};

} // namespace Agent
