// The members that the service's class exports; they must be in a library, not inline.

#include "ostria/storage/zrd_service.h"

namespace ostria::storage {

ZRDService::ZRDService() = default;
ZRDService::ZRDService(const ZRDService&) = default;
ZRDService::~ZRDService() = default;
ZRDService& ZRDService::operator=(const ZRDService&) { return *this; }

}  // namespace ostria::storage
