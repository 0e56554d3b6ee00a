// ZQMStartResponse: the backend's response to an accepted start.
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

  static constexpr auto kFields = std::tuple{
      member("euid", &Self::euid),
      member("endpoints", &Self::endpoints),
  };
};

}  // namespace zqm
