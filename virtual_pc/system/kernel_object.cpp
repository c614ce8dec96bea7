// What objects do with requests that they do not know: they refuse them.
#include "virtual_pc/system/kernel_object.h"

#include <winerror.h>

#include <algorithm>
#include <cstring>

namespace ostria::virtual_pc {

OpenFile::~OpenFile() {
  if (object) {
    object->closing(*this);
  }
}

void IoRequest::answer(const void* record, std::size_t bytes) {
  if (output.size() < bytes) {
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  answerCut(record, bytes);
}

void IoRequest::answerCut(const void* record, std::size_t bytes) {
  returned = std::min(bytes, output.size());
  if (returned != 0) {
    std::memcpy(output.data(), record, returned);
  }
}

void IoObject::control(IoRequest& request) { request.fail(ERROR_INVALID_FUNCTION); }
void IoObject::read(IoRequest& request) { request.fail(ERROR_INVALID_FUNCTION); }
void IoObject::write(IoRequest& request) { request.fail(ERROR_INVALID_FUNCTION); }
std::uint32_t IoObject::resize(std::uint64_t) { return ERROR_INVALID_FUNCTION; }

}  // namespace ostria::virtual_pc
