// The memory hardware: a table of numbered slots in a file that outlives the process.
//
// Format, version 1, in the byte order of the machine that wrote it (the magic number tells):
//
//    offset   bytes
//    0        8      magic number
//    8        8      version
//    16       8      number of slots, low half; its check, high half
//    24       8      number of slot writes since the file was made
//    32       32     zero
//    64       8 n    the slots; 0 is free, used is 0xA, or 0xC for a foreign one (4 bits), the VLAN
//                    (12), the MAC (48)
//
// A slot is one 64-bit word, written in one store: a process that is killed at any instant leaves
// each slot either as it was or as it was to be. The number of slots changes in one store as well,
// the file is always at least as long as that number says. So what is found broken was broken by
// somebody else.
#ifndef ORLOAGENT_HARDWARE_SLOTFILE_H
#define ORLOAGENT_HARDWARE_SLOTFILE_H

#include "agent/FileDescriptor.h"
#include "agent/Pair.h"
#include "agent/hardware/HardwareError.h"
#include "quor/Types.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace OrloAgent {

/// Belongs to one process at a time (flock(2)). Writes go to the page cache: they survive the
/// process, not a crash of the machine. Costs 8 bytes a slot beside the file.
///
/// Somebody may cut the file short, or remove it, under the running process. Who asks isWhole()
/// before looks and writes is told, and mend() puts the table back. What falls into the instant
/// between the two meets SIGBUS: the next process then finds the file broken, sets it aside and
/// begins anew.
class SlotFile {
 public:
   /// Hears what the administrator has to know of a file that was not as it should be.
   using Notice = std::function<void( const std::string & )>;
   enum class Size {
      exact,
      atLeast ///< what stands behind `count` already is kept, and so is its slot
   };

   /// Opens the table at `path` with `count` slots, or makes an empty one. With another count than
   /// before it keeps what is in slots below `count`. A file that is no such table, or a broken
   /// one, or of another version, is renamed to PATH.aside-1 (up to 9, which is then overwritten)
   /// and replaced by an empty table. Throws HardwareError, also when another process has the
   /// table, or the disk is full.
   SlotFile( const std::string &path, Quor::U32 count, const Notice &notice,
             Size size = Size::exact );
   ~SlotFile();
   SlotFile( const SlotFile & ) = delete;
   SlotFile &operator=( const SlotFile & ) = delete;

   /// What the table at `path` holds, slot by slot, as its process has it at the moment: nothing is
   /// changed or locked. Empty when there is no file. Throws HardwareError for what is no table.
   static std::vector<std::optional<Pair>> read( const std::string &path );

   Quor::U32 count() const noexcept { return count_; }
   /// How often a slot has been written or freed since the file was made; all processes together.
   Quor::U64 writes() const noexcept;

   /// Is the file as long as it has to be? Costs a system call.
   bool isWhole() const noexcept;
   /// Throws HardwareError, with the reason, unless it is.
   void needWhole() const;
   /// When somebody has cut the file short, removed or replaced it: makes it again, with what this
   /// process has found and written, and tells. Costs two system calls when there is nothing to do.
   /// Throws HardwareError.
   void mend( const Notice &notice );

   // `index` is less than count(), the file is whole.
   /// Nothing when the slot is free. The VLAN is 0 to 4095; nothing is known of the MAC.
   std::optional<Pair> slot( Quor::U32 index ) const noexcept;
   /// Has the pair been put there as a foreign one?
   bool isForeign( Quor::U32 index ) const noexcept;
   /// Puts the pair into the slot, whatever was there. Of the VLAN the low 12 bits count. A foreign
   /// pair is one that the hardware does not have from us.
   void slotIs( Quor::U32 index, const Pair &pair, bool isForeign = false ) noexcept;
   /// Frees the slot.
   void slotDel( Quor::U32 index ) noexcept;
   /// All of them, 0 to count() - 1.
   std::vector<std::optional<Pair>> slots() const;

 private:
   void openLocked();
   /// What is wrong with the file; empty when it is a table, or nothing yet.
   std::string flaw() const;
   void setAside( const std::string &flaw, const Notice &notice );
   void make();
   void resize( const Notice &notice, Size size );
   void allocate( Quor::U32 count );
   void map( Quor::U32 count );
   void unmap() noexcept;
   void write( Quor::U32 index, Quor::U64 word ) noexcept;
   [[noreturn]] void fail( const std::string &doing, int error,
                           const std::string &advice = {} ) const;

   bool stands() const noexcept;
   void storeHeader() noexcept;

   const std::string path_;
   Quor::U32 count_;
   FileDescriptor file_;
   Quor::U64 *words_ = nullptr;   // the mapped file
   std::size_t bytes_ = 0;        // of it
   std::vector<Quor::U64> known_; // the slots, as this process has found and written them
};

} // namespace OrloAgent

#endif
