#include "tools/zorctl/command.h"

namespace zor::ctl {
namespace {

struct Names {
  std::string_view command;
  std::string_view exported;
};

struct NamesOf {
  Names operator()(const InfoCall& /*call*/) const { return {"info", "ZorIntfGetInfo"}; }
  Names operator()(const ListCall& /*call*/) const { return {"list", "ZorIntfEnum"}; }
  Names operator()(const CreateCall& /*call*/) const { return {"create", "ZorIntfCreate"}; }
  Names operator()(const ConfigCall& /*call*/) const { return {"config", "ZorIntfConfig"}; }
  Names operator()(const ControlCall& call) const {
    switch (call.control) {
      case Control::kStart:
        return {"start", "ZorIntfStart"};
      case Control::kStop:
        return {"stop", "ZorIntfStop"};
      case Control::kDestroy:
        break;
    }
    return {"destroy", "ZorIntfDestroy"};
  }
  Names operator()(const SetCall& /*call*/) const { return {"set", "ZorIntfSet"}; }
  Names operator()(const GetCall& /*call*/) const { return {"get", "ZorIntfGet"}; }
  Names operator()(const StatusCall& /*call*/) const { return {"status", "ZorIntfGetStatus"}; }
  Names operator()(const BlobSetCall& /*call*/) const {
    return {"blob set", "ZorIntfSetSerialized"};
  }
  Names operator()(const BlobGetCall& /*call*/) const {
    return {"blob get", "ZorIntfGetSerialized"};
  }
};

}  // namespace

std::string_view CommandName(const Call& call) { return std::visit(NamesOf{}, call).command; }

std::string_view ExportName(const Call& call) { return std::visit(NamesOf{}, call).exported; }

}  // namespace zor::ctl
