/// Making calls of the library, one after the other, as an application makes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

#include "interface/zor.hpp"
#include "tools/zorctl/command.h"
#include "tools/zorctl/outcome.h"

namespace zor::ctl {

/// The library must stay loaded as long as the object lives.
class Session {
 public:
  Session() = default;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  [[nodiscard]] Outcome Make(const Call& call);

  /// The handle of the last instance that was created.
  [[nodiscard]] std::optional<std::uint32_t> last_handle() const noexcept { return last_handle_; }

 private:
  Payload Send(const InfoCall& call, std::error_code& error);
  Payload Send(const ListCall& call, std::error_code& error);
  Payload Send(const CreateCall& call, std::error_code& error);
  Payload Send(const ConfigCall& call, std::error_code& error);
  Payload Send(const ControlCall& call, std::error_code& error);
  Payload Send(const SetCall& call, std::error_code& error);
  Payload Send(const GetCall& call, std::error_code& error);
  Payload Send(const StatusCall& call, std::error_code& error);
  Payload Send(const BlobSetCall& call, std::error_code& error);
  Payload Send(const BlobGetCall& call, std::error_code& error);

  /// Algorithm ids are translated by the list of algorithms, which is fetched once.
  void PrepareTranslation(std::string_view parameter, bool no_list, std::error_code& error);

  Client client_;
  std::optional<std::uint32_t> last_handle_;
  bool listed_ = false;
};

}  // namespace zor::ctl
