#pragma once

// The executable as a user runs it, in a folder of the test's own.

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>

#include "Tests/TemporaryFolder.h"

class AgentBed : public testing::Test {
 protected:
   struct Result {
      int code = -1;
      std::string out;
      std::string err;
      long errLines() const { return std::count( err.begin(), err.end(), '\n' ); }
   };
   Result agent( const std::string& arguments ) const {
      const std::string command =
            "cd '" + folder.path() + "' && " KARVEL_AGENT " " + arguments + " >stdout 2>stderr";
      const int status = std::system( command.c_str() );
      return { WIFEXITED( status ) ? WEXITSTATUS( status ) : -1,
         contentOf( folder.path( "stdout" ) ), contentOf( folder.path( "stderr" ) ) };
   }

   const TemporaryFolder folder;
   const std::string example = KARVEL_SOURCE_DIR "/Examples/port-mirroring.json";
   const std::string hostA = KARVEL_SOURCE_DIR "/Examples/captures/host-a.pcap";
};
