// What a handle can stand for, and the requests that such an object takes.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ostria::virtual_pc {

/// Something that a handle can stand for.
class KernelObject {
 public:
  virtual ~KernelObject() = default;
  /// Whether a wait on it can end, and whether it ends now. `consume`: the wait is over, so an
  /// automatic event falls back.
  virtual bool waitable() const { return false; }
  virtual bool signalled() { return false; }
  virtual void consume() {}
  /// Whether CloseHandle ends it; libraries, searches and device sets have functions of their own.
  virtual bool closedByCloseHandle() const { return true; }
  /// When it will be signalled by itself, for objects with a time of their own.
  virtual std::optional<std::uint64_t> signalsAt() const { return std::nullopt; }
};

class IoObject;

/// One opening of an object: what belongs to the handle and not to the object.
struct OpenFile : KernelObject {
  std::shared_ptr<IoObject> object;
  bool readable = false;
  bool writable = false;
  bool overlapped = false;
  bool unbuffered = false;
  bool writeThrough = false;
  bool deleteOnClose = false;
  bool inheritable = false;  ///< a child process gets it
  std::uint32_t share = 0;   ///< what other openings may do, as FILE_SHARE_ bits
  std::uint64_t position = 0;
  /// Memory of the last read that is over, for the next one: new memory of the size of a scan's
  /// block costs more time than the read itself. What is in it never reaches a caller.
  std::vector<std::uint8_t> spare;

  ~OpenFile() override;
};

/// A request to a device or file. Errors are the system's error codes, 0 for success.
struct IoRequest {
  OpenFile* file = nullptr;
  std::uint32_t code = 0;           ///< control code; 0 for reads and writes
  std::vector<std::uint8_t> input;  ///< a copy of what came in
  /// Room of the size that the caller offers, zeroed. Reads get theirs from `makeRoom` when it is
  /// known that there is something to read.
  std::vector<std::uint8_t> output;
  const void* memory = nullptr;  ///< where the caller's data lie, of reads and writes
  std::uint64_t offset = 0;      ///< reads and writes
  std::uint32_t bytes = 0;       ///< that a read asks for

  std::uint32_t error = 0;
  std::size_t returned = 0;  ///< bytes of `output` that count, or bytes written
  std::uint64_t durationMicroseconds = 0;

  /// Room for all that a read asks for; not zeroed, since the read fills it.
  void makeRoom() { output.resize(bytes); }
  void fail(std::uint32_t errorCode) {
    error = errorCode;
    returned = 0;
  }
  /// Answers with a record, or fails with ERROR_INSUFFICIENT_BUFFER when it does not fit.
  void answer(const void* record, std::size_t bytes);
  /// Answers with as much of a record as fits.
  void answerCut(const void* record, std::size_t bytes);
};

/// An object that takes requests.
class IoObject {
 public:
  virtual ~IoObject() = default;
  virtual void control(IoRequest& request);
  virtual void read(IoRequest& request);
  virtual void write(IoRequest& request);
  virtual std::uint64_t size() const { return 0; }
  /// Error code; 0 when the size is set.
  virtual std::uint32_t resize(std::uint64_t bytes);
  /// Transfers of an unbuffered opening are multiples of this.
  virtual std::uint32_t alignment() const { return 1; }
  /// What openings are shared of: the object itself, or the file that several of them stand for.
  virtual const void* identity() const { return this; }
  /// A handle of it is about to go.
  virtual void closing(OpenFile&) {}
};

/// An event.
class EventObject : public KernelObject {
 public:
  EventObject(bool manual, bool set) : manual_(manual), set_(set) {}
  bool waitable() const override { return true; }
  bool signalled() override { return set_; }
  void consume() override {
    if (!manual_) {
      set_ = false;
    }
  }
  void set(bool on) { set_ = on; }

 private:
  bool manual_;
  bool set_;
};

}  // namespace ostria::virtual_pc
