/// The application's own places as environment variables, and the substitution of ${NAME} in texts.
#ifndef KIV_ENVVARS_H
#define KIV_ENVVARS_H

#include <string>

#include <kiv/kiv_export.h>

namespace Kiv
{
namespace Env
{

/// Sets three environment variables, so that configuration texts can refer to them:
///
/// - APP_PATH: the directory of the running executable, without a slash at its end;
/// - DATA_LOCATION and COMMON_APPDATA: both the data directory of the application, as it follows from the organisation
///   and application names set with Qt; in a program that sets none, the user's ".local/share".
///
/// The data directory need not exist. Values inherited from the parent process are replaced. Later calls change
/// nothing. Diag::init() calls it first.
///
/// Threads: safe from any thread, but no other thread may read the environment during the first call.
/// Errors: a variable that cannot be set is left as it is.
KIV_API void initEnvironmentVars();

/// `text` with each ${NAME} replaced by the value of that environment variable.
///
/// A reference to a variable that is unset or empty stays as it stands. Values are inserted as they are: a ${NAME}
/// inside a value is not replaced. The first } closes a reference, so references do not nest, and nothing escapes a ${.
/// A text with an unterminated reference gives the empty string as a whole.
///
/// Threads: safe from any thread while no other changes the environment.
/// Errors: none.
KIV_API std::string substituteEnvironmentVars(const std::string& text);

} // namespace Env
} // namespace Kiv

#endif
