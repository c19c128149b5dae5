#pragma once

#include <cstdint>
#include <string>

#include "exec/adapters/base/Failure.h"
#include "template_store/ScriptedEngine.h"

namespace vorn {

/// A number of its own, for ever: it is part of every error code that callers store and compare. A store of
/// the library has its name in ErrorFamily.
inline constexpr auto kTemplateFamily = static_cast<ErrorFamily>(16);

/// @return the failure that the engine reported; one that ended the connection is the layer's own
///         ConnectionLost
/// @param message  the engine's own. It must repeat no value and no part of the statement's text: cut such
///                 parts out here.
ExecResult templateFailure(scripted::Code code, const char* message);

/// @return the engine's number and its name: "4 DUPLICATE"
std::string describeTemplateError(std::uint32_t native);

/// @return what the engine's number asks of the caller
ErrorClass classifyTemplateError(std::uint32_t native) noexcept;

}  // namespace vorn
