#pragma once

#include <QString>

// The bash completion of `tolvane-cli`, made from the command line's
// description: commands, their options, the choices of an option such as the
// profile names, and folders wherever a folder is expected.
namespace CliCompletion {

QString bashScript();

} // namespace CliCompletion
