#include "tools/common/json_line.h"

namespace LumoTools {

std::string JsonLine::Text() const {
    return m_object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace LumoTools
