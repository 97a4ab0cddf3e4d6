#include "Agent/Live/Socket.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Agent {

namespace {

[[noreturn]] void fail( const std::string& path, const std::string& what ) {
   throw std::runtime_error( path + ": " + what );
}

std::string because( int error ) { return std::string( " (" ) + std::strerror( error ) + ")"; }

sockaddr_un addressOf( const std::string& path ) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   constexpr size_t longest = sizeof address.sun_path - 1;
   if ( path.empty() || path.size() > longest ) {
      fail( path,
            "cannot be the path of a socket; allowed: 1 to " + std::to_string( longest ) +
                  " bytes" );
   }
   std::memcpy( address.sun_path, path.data(), path.size() );
   return address;
}

Descriptor makeSocket( int flags ) {
   Descriptor made( ::socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0 ) );
   if ( !made ) {
      throw std::runtime_error( "no socket can be made" + because( errno ) );
   }
   return made;
}

// 0, or why no agent can be reached there.
int tryConnect( const Descriptor& socket, const std::string& path ) {
   const sockaddr_un address = addressOf( path );
   const auto* generic = reinterpret_cast< const sockaddr* >( &address );
   return ::connect( socket.number(), generic, sizeof address ) == 0 ? 0 : errno;
}

// A folder of this user's in which others do not have these rights.
bool isOwnFolder( const std::string& path, mode_t rightsOfOthers ) {
   struct stat status {};
   return ::lstat( path.c_str(), &status ) == 0 && S_ISDIR( status.st_mode ) &&
         status.st_uid == ::geteuid() && ( status.st_mode & rightsOfOthers ) == 0;
}

// Held while a path is looked at and taken, so that two agents that start at once cannot both
// find it free. A lock on the folder leaves no file behind.
class FolderLock {
 public:
   explicit FolderLock( const std::string& path ) {
      std::string folder = std::filesystem::path( path ).parent_path().string();
      folder = folder.empty() ? "." : folder;
      folder_ = Descriptor( ::open( folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) );
      if ( !folder_ ) {
         fail( path, "no socket can be made there" + because( errno ) );
      }
      constexpr auto pause = std::chrono::milliseconds( 20 );
      constexpr int attempts = 250;
      for ( int i = 0; ::flock( folder_.number(), LOCK_EX | LOCK_NB ) != 0; ++i ) {
         if ( i == attempts ) {
            fail( path, "its folder stays locked" + because( errno ) );
         }
         std::this_thread::sleep_for( pause );
      }
   }

 private:
   Descriptor folder_;
};

} // namespace

Descriptor& Descriptor::operator=( Descriptor&& other ) noexcept {
   if ( this != &other ) {
      close();
      number_ = std::exchange( other.number_, -1 );
   }
   return *this;
}

void Descriptor::close() {
   if ( number_ >= 0 ) {
      ::close( std::exchange( number_, -1 ) );
   }
}

std::string defaultSocketPath() {
   constexpr const char* name = "/karvel-agent.sock";
   const char* folder = std::getenv( "XDG_RUNTIME_DIR" );
   if ( folder && *folder && isOwnFolder( folder, S_IWGRP | S_IWOTH ) ) {
      return std::string( folder ) + name;
   }
   // In /tmp itself anybody could stand in for the agent.
   const std::string own = "/tmp/karvel-agent-" + std::to_string( ::geteuid() );
   ::mkdir( own.c_str(), S_IRWXU );
   if ( !isOwnFolder( own, S_IRWXG | S_IRWXO ) ) {
      fail( own,
            "is not a folder that only this user may enter; allowed: another path "
            "(--socket)" );
   }
   return own + name;
}

Descriptor connectTo( const std::string& path ) {
   Descriptor socket = makeSocket( 0 );
   if ( const int error = tryConnect( socket, path ) ) {
      fail( path,
            "no agent serves there" + because( error ) +
                  "; start one with: karvel-agent serve CONFIG.json" );
   }
   ucred peer{};
   socklen_t size = sizeof peer;
   if ( ::getsockopt( socket.number(), SOL_SOCKET, SO_PEERCRED, &peer, &size ) != 0 ||
         ( peer.uid != ::geteuid() && peer.uid != 0 ) ) {
      fail( path,
            "who serves there is user " + std::to_string( peer.uid ) +
                  "; allowed: oneself or root" );
   }
   return socket;
}

ListeningSocket::ListeningSocket( const std::string& path )
      : path_( path ), socket_( makeSocket( SOCK_NONBLOCK ) ) {
   const sockaddr_un address = addressOf( path_ );
   const FolderLock lock( path_ );
   takePath();
   // The mode is right from the first moment on.
   const mode_t before = ::umask( S_IXUSR | S_IRWXG | S_IRWXO );
   const auto* generic = reinterpret_cast< const sockaddr* >( &address );
   const int bound = ::bind( socket_.number(), generic, sizeof address );
   const int error = errno;
   ::umask( before );
   struct stat file {};
   if ( bound != 0 || ::lstat( path_.c_str(), &file ) != 0 ) {
      fail( path_, "no socket can be made there" + because( bound != 0 ? error : errno ) );
   }
   device_ = file.st_dev;
   inode_ = file.st_ino;
   if ( ::listen( socket_.number(), SOMAXCONN ) != 0 ) {
      fail( path_, "cannot be listened on" + because( errno ) );
   }
}

// Removes what a dead agent left.
void ListeningSocket::takePath() {
   struct stat file {};
   if ( ::lstat( path_.c_str(), &file ) != 0 ) {
      return; // nothing is there, or bind() says why it cannot be seen
   }
   if ( !S_ISSOCK( file.st_mode ) ) {
      fail( path_, "is not a socket; allowed: a new name or an agent's socket" );
   }
   const int error = tryConnect( makeSocket( SOCK_NONBLOCK ), path_ );
   if ( error == 0 || error == EAGAIN ) {
      fail( path_, "another agent serves there; allowed: another path (--socket)" );
   }
   if ( error != ECONNREFUSED || ::unlink( path_.c_str() ) != 0 ) {
      const int why = error != ECONNREFUSED ? error : errno;
      fail( path_, "is a socket that cannot be taken over" + because( why ) );
   }
}

Descriptor ListeningSocket::accept() {
   return Descriptor(
         ::accept4( socket_.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC ) );
}

void ListeningSocket::close() {
   if ( !socket_ ) {
      return;
   }
   struct stat file {};
   if ( ::lstat( path_.c_str(), &file ) == 0 && file.st_dev == device_ &&
         file.st_ino == inode_ ) {
      ::unlink( path_.c_str() );
   }
   socket_.close();
}

} // namespace Agent
