#pragma once

#include "ostria/storage/zrd_service.h"

namespace ostria::storage {

/// A driver service whose host operations do nothing: what this project's services derive from. The
/// operations keep their order in `ZRDService`.
class ZrdServiceDefaults : public ZRDService {
 public:
  void hostOperation1() override {}
  void hostOperation2() override {}
  void hostOperation3() override {}
  void hostOperation6() override {}
  void hostOperation7() override {}
  void hostOperation9() override {}
  void hostOperation10() override {}
  void hostOperation11() override {}
  void hostOperation12() override {}
  void hostOperation13() override {}
  void hostOperation14() override {}
  void hostOperation15() override {}
  void hostOperation16() override {}
  void hostOperation17() override {}
  void hostOperation18() override {}
  void hostOperation19() override {}
  void hostOperation20() override {}
  void hostOperation21() override {}
};

}  // namespace ostria::storage
