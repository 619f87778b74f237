#include "quantity_option.h"

#include "common/errors.h"
#include "common/settings/units.h"

#include <fmt/format.h>

namespace fmcw_cli {
namespace {

using namespace orn::fmcw_host;

double parsed(const std::string& text, const std::string& name, const quantity_t& quantity) {
  const std::string_view unit = quantity.unit;
  if (const auto value = parse_quantity(text, unit)) {
    return *value;
  }
  throw input_error_t("{} cannot be '{}'; allowed is a number{}, {}, such as {}", name, text,
                      unit.empty() ? "" : fmt::format(" [{}]", unit), quantity.allowed,
                      quantity.example);
}

template <class Value>
CLI::Option* add(CLI::App& command, const std::string& name, Value& value,
                 const quantity_t& quantity, const std::string& description) {
  const std::string unit = quantity.unit;
  return command
      .add_option_function<std::string>(
          name,
          [&value, name, quantity](const std::string& text) {
            value = parsed(text, name, quantity);
          },
          fmt::format("{}{}, such as {}", description, unit.empty() ? "" : " [" + unit + "]",
                      quantity.example))
      ->type_name("NUMBER");
}

}  // namespace

CLI::Option* add_quantity(CLI::App& command, const std::string& name, double& value,
                          const quantity_t& quantity, const std::string& description) {
  return add(command, name, value, quantity, description)
      ->default_str(quantity_text(value, quantity.unit));
}

CLI::Option* add_quantity(CLI::App& command, const std::string& name, std::optional<double>& value,
                          const quantity_t& quantity, const std::string& description) {
  return add(command, name, value, quantity, description);
}

}  // namespace fmcw_cli
