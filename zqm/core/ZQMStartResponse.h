// ZQMStartResponse: what the backend answers to an accepted start.
#pragma once

#include "zqm/endpoints/ZQMEndpointModels.h"
#include "zqm/model/Record.h"

namespace zqm {

class ZQM_EXPORT ZQMStartResponse : public Record<ZQMStartResponse> {
 public:
  static constexpr std::string_view kClassName = "ZQMStartResponse";

  // The identifier of the installation.
  Text euid;
  ZQMEndpointsModel endpoints;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("euid", self.euid);
    visit("endpoints", self.endpoints);
  }
};

}  // namespace zqm
