#include "agent/hardware/SlotFile.h"

#include "agent/hardware/Failpoint.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace OrloAgent {

namespace {

using Quor::U16;
using Quor::U32;
using Quor::U64;

constexpr U64 kMagic = 0x4f726c6f536c6f74; // "OrloSlot"
constexpr U64 kVersion = 1;
constexpr U32 kMostSlots = 1 << 24;

// The words of the header.
constexpr std::size_t kMagicWord = 0;
constexpr std::size_t kVersionWord = 1;
constexpr std::size_t kCountWord = 2;
constexpr std::size_t kWritesWord = 3;
constexpr std::size_t kHeaderWords = 8;
using Header = std::array<U64, kHeaderWords>;

constexpr U64 kUsed = 0xA;
constexpr U64 kForeign = 0xC;
constexpr int kMostAside = 9;

constexpr U64 lengthFor( U32 count ) {
   return ( kHeaderWords + U64{ count } ) * sizeof( U64 );
}

U64 countWord( U32 count ) {
   const U32 check = ( count ^ 0x5c4ec7edu ) * 0x9e3779b1u;
   return ( U64{ check } << 32 ) | count;
}

U64 usedWord( const Pair &pair, bool isForeign ) {
   return ( ( isForeign ? kForeign : kUsed ) << 60 ) |
          ( U64{ pair.vlanId().number() & 0xfffu } << 48 ) | pair.mac().number();
}

bool isSlotWord( U64 word ) {
   return word == 0 || word >> 60 == kUsed || word >> 60 == kForeign;
}

std::optional<Pair> pairIn( U64 word ) {
   if( word == 0 ) {
      return std::nullopt;
   }
   return Pair( Bridging::VlanId( static_cast<U16>( ( word >> 48 ) & 0xfff ) ),
                Pelmo::EthAddr( static_cast<U16>( word >> 32 ), static_cast<U16>( word >> 16 ),
                                static_cast<U16>( word ) ) );
}

U64 load( const U64 &word ) noexcept {
   return std::atomic_ref<U64>( const_cast<U64 &>( word ) ).load( std::memory_order_acquire );
}

void store( U64 &word, U64 value ) noexcept {
   std::atomic_ref<U64>( word ).store( value, std::memory_order_release );
}

U64 lengthOf( int fd ) {
   struct stat status {};
   return fstat( fd, &status ) == 0 ? static_cast<U64>( status.st_size ) : 0;
}

/// Reads up to `bytes` at the beginning of the file; gives how many came.
std::size_t readAll( int fd, void *into, std::size_t bytes ) {
   std::size_t done = 0;
   while( done < bytes ) {
      const ssize_t count = pread( fd, static_cast<char *>( into ) + done, bytes - done,
                                   static_cast<off_t>( done ) );
      if( count < 0 && errno == EINTR ) {
         continue;
      }
      if( count <= 0 ) {
         break;
      }
      done += static_cast<std::size_t>( count );
   }
   return done;
}

/// What is wrong with the file; empty when it is a table, or nothing yet. Its slots come into
/// `words`.
std::string readTable( int fd, std::vector<U64> &words ) {
   Header header{};
   words.clear();
   const U64 length = lengthOf( fd );
   const std::size_t read = readAll( fd, header.data(), sizeof( header ) );
   if( std::all_of( header.begin(), header.end(), []( U64 word ) { return word == 0; } ) ) {
      return {}; // nothing yet: empty, or its maker was interrupted before the magic number
   }
   if( read < sizeof( header ) || header[kMagicWord] != kMagic ) {
      return "it is no slot table";
   }
   if( header[kVersionWord] != kVersion ) {
      return "it is of another version";
   }
   const U32 count = static_cast<U32>( header[kCountWord] );
   if( header[kCountWord] != countWord( count ) || count > kMostSlots ||
       std::any_of( header.begin() + kWritesWord + 1, header.end(),
                    []( U64 word ) { return word != 0; } ) ) {
      return "its header is corrupt";
   }
   if( length < lengthFor( count ) ) {
      return "it is shorter than its " + std::to_string( count ) + " slots";
   }
   words.resize( kHeaderWords + count );
   if( readAll( fd, words.data(), words.size() * sizeof( U64 ) ) < words.size() * sizeof( U64 ) ) {
      return "it cannot be read";
   }
   words.erase( words.begin(), words.begin() + kHeaderWords );
   const auto bad = std::find_if_not( words.begin(), words.end(), isSlotWord );
   return bad == words.end() ? std::string()
                             : "slot " + std::to_string( bad - words.begin() ) + " is corrupt";
}

} // namespace

SlotFile::SlotFile( const std::string &path, U32 count, const Notice &notice, Size size )
      : path_( path ), count_( count ) {
   openLocked();
   const std::string wrong = flaw();
   if( !wrong.empty() ) {
      setAside( wrong, notice );
   }
   U64 magic = 0;
   if( readAll( file_.get(), &magic, sizeof( magic ) ) == sizeof( magic ) && magic == kMagic ) {
      resize( notice, size );
   } else {
      make();
   }
   known_.assign( words_ + kHeaderWords, words_ + kHeaderWords + count_ );
}

SlotFile::~SlotFile() {
   unmap();
}

void SlotFile::fail( const std::string &doing, int error, const std::string &advice ) const {
   throw HardwareError( "cannot " + doing + " the slot table " + path_ + ": " +
                        std::strerror( error ) + ( advice.empty() ? "" : "; " + advice ) );
}

void SlotFile::openLocked() {
   for( ;; ) {
      file_ = FileDescriptor(
            ::open( path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0644 ) );
      if( file_.get() < 0 ) {
         const int error = errno;
         fail( "open", error,
               error == ENOENT ? "make its directory first"
               : error == EACCES || error == EROFS || error == EPERM
                     ? "choose a path that this user may write"
                     : "" );
      }
      struct stat opened {};
      if( fstat( file_.get(), &opened ) < 0 ) {
         fail( "look at", errno );
      }
      if( !S_ISREG( opened.st_mode ) ) {
         throw HardwareError( path_ +
                              " is not a regular file; choose another path for the slot table" );
      }
      if( flock( file_.get(), LOCK_EX | LOCK_NB ) < 0 ) {
         const int error = errno;
         fail( "lock", error,
               error == EWOULDBLOCK
                     ? "another orlo-agent uses it: stop that one, or choose another path"
                     : "" );
      }
      // Whoever held the lock until now may have set the file aside.
      if( stands() ) {
         return;
      }
   }
}

std::string SlotFile::flaw() const {
   std::vector<U64> words;
   return readTable( file_.get(), words );
}

std::vector<std::optional<Pair>> SlotFile::read( const std::string &path ) {
   const auto fail = [&path]( const std::string &why ) {
      throw HardwareError( "cannot read the slot table " + path + ": " + why );
   };
   const FileDescriptor file( ::open( path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK ) );
   std::vector<U64> words;
   struct stat opened {};
   if( file.get() < 0 ) {
      if( errno != ENOENT ) {
         fail( std::strerror( errno ) );
      }
   } else if( fstat( file.get(), &opened ) < 0 || !S_ISREG( opened.st_mode ) ) {
      fail( "it is not a regular file" );
   } else if( const std::string flaw = readTable( file.get(), words ); !flaw.empty() ) {
      fail( flaw );
   }
   std::vector<std::optional<Pair>> pairs;
   std::transform( words.begin(), words.end(), std::back_inserter( pairs ), pairIn );
   return pairs;
}

void SlotFile::setAside( const std::string &flaw, const Notice &notice ) {
   std::string name;
   struct stat there {};
   for( int i = 1; i <= kMostAside; ++i ) {
      name = path_ + ".aside-" + std::to_string( i );
      if( lstat( name.c_str(), &there ) < 0 ) {
         break;
      }
   }
   if( std::rename( path_.c_str(), name.c_str() ) < 0 ) {
      fail( "set aside", errno, "it cannot be used (" + flaw + "): remove it" );
   }
   notice( "the slot table " + path_ + " cannot be used: " + flaw + "; set aside as " + name +
           ", an empty one with " + std::to_string( count_ ) + " slots takes its place" );
   openLocked();
   // Between the two steps another agent may have made and left a table of its own.
   const std::string again = this->flaw();
   if( !again.empty() ) {
      throw HardwareError( "the slot table " + path_ +
                           " is being replaced by somebody else; try again" );
   }
}

void SlotFile::make() {
   // Nothing of a file whose maker was interrupted is kept.
   if( ftruncate( file_.get(), 0 ) < 0 ) {
      fail( "make", errno );
   }
   allocate( count_ );
   map( count_ );
   storeHeader();
}

void SlotFile::storeHeader() noexcept {
   store( words_[kVersionWord], kVersion );
   store( words_[kCountWord], countWord( count_ ) );
   store( words_[kMagicWord], kMagic ); // from here on it is a table
}

bool SlotFile::isWhole() const noexcept {
   return lengthOf( file_.get() ) >= bytes_;
}

void SlotFile::needWhole() const {
   if( !isWhole() ) {
      throw HardwareError( "somebody has cut the slot table " + path_ + " short" );
   }
}

/// At its path, and not another file.
bool SlotFile::stands() const noexcept {
   struct stat opened {};
   struct stat named {};
   return fstat( file_.get(), &opened ) == 0 && stat( path_.c_str(), &named ) == 0 &&
          named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

void SlotFile::mend( const Notice &notice ) {
   const bool isThere = stands();
   if( isThere && isWhole() ) {
      return;
   }
   if( !isThere ) {
      SlotFile other( path_, count_, notice );
      std::swap( file_, other.file_ );
      std::swap( words_, other.words_ );
      std::swap( bytes_, other.bytes_ );
   }
   allocate( count_ );
   for( U32 index = 0; index < count_; ++index ) {
      store( words_[kHeaderWords + index], known_[index] );
   }
   storeHeader();
   notice( "somebody has " + std::string( isThere ? "cut short" : "removed or replaced" ) +
           " the slot table " + path_ + ": it is made again as it was" );
}

void SlotFile::resize( const Notice &notice, Size size ) {
   Header header{};
   readAll( file_.get(), header.data(), sizeof( header ) );
   const U32 before = static_cast<U32>( header[kCountWord] );
   if( size == Size::atLeast ) {
      count_ = std::max( before, count_ );
   }
   // What is left behind the slots by somebody who was interrupted right here.
   if( ftruncate( file_.get(), static_cast<off_t>( lengthFor( before ) ) ) < 0 ) {
      fail( "resize", errno );
   }
   allocate( std::max( before, count_ ) );
   map( std::max( before, count_ ) );
   if( before == count_ ) {
      return;
   }
   U32 dropped = 0;
   for( U32 i = count_; i < before; ++i ) {
      dropped += words_[kHeaderWords + i] == 0 ? 0 : 1;
   }
   store( words_[kCountWord], countWord( count_ ) );
   if( count_ < before ) {
      unmap();
      if( ftruncate( file_.get(), static_cast<off_t>( lengthFor( count_ ) ) ) < 0 ) {
         fail( "resize", errno );
      }
      map( count_ );
   }
   notice( "the slot table " + path_ + " had " + std::to_string( before ) + " slots and has " +
           std::to_string( count_ ) + " now" +
           ( dropped == 0 ? "" : "; entries dropped: " + std::to_string( dropped ) ) );
}

void SlotFile::allocate( U32 count ) {
   // Also for what is there: a file with holes could find the disk full at a write, which would
   // kill the process.
   int error = EINTR;
   while( error == EINTR ) {
      error = posix_fallocate( file_.get(), 0, static_cast<off_t>( lengthFor( count ) ) );
   }
   if( error != 0 ) {
      fail( "allocate", error,
            "it needs " + std::to_string( lengthFor( count ) ) + " bytes on its file system" );
   }
}

void SlotFile::map( U32 count ) {
   bytes_ = lengthFor( count );
   void *const memory = mmap( nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(), 0 );
   if( memory == MAP_FAILED ) {
      fail( "map", errno );
   }
   words_ = static_cast<U64 *>( memory );
}

void SlotFile::unmap() noexcept {
   if( words_ ) {
      munmap( words_, bytes_ );
      words_ = nullptr;
   }
}

U64 SlotFile::writes() const noexcept {
   return load( words_[kWritesWord] );
}

std::optional<Pair> SlotFile::slot( U32 index ) const noexcept {
   return pairIn( load( words_[kHeaderWords + index] ) );
}

bool SlotFile::isForeign( U32 index ) const noexcept {
   return load( words_[kHeaderWords + index] ) >> 60 == kForeign;
}

std::vector<std::optional<Pair>> SlotFile::slots() const {
   std::vector<std::optional<Pair>> pairs;
   for( U32 index = 0; index < count_; ++index ) {
      pairs.push_back( slot( index ) );
   }
   return pairs;
}

void SlotFile::slotIs( U32 index, const Pair &pair, bool isForeign ) noexcept {
   write( index, usedWord( pair, isForeign ) );
}

void SlotFile::slotDel( U32 index ) noexcept {
   write( index, 0 );
}

void SlotFile::write( U32 index, U64 word ) noexcept {
   Failpoint::hit( "a slot" );
   store( words_[kWritesWord], writes() + 1 );
   store( words_[kHeaderWords + index], word );
   known_[index] = word;
}

} // namespace OrloAgent
