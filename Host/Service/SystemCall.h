#pragma once

namespace Zel::Host::Service
{

/// Returns `result` unless it is negative; then it is a negated errno, and `Exception`
/// "Failed to {action}: {text of the errno}" is thrown.
int CheckSystemCall(int result, const char* action);

} // namespace Zel::Host::Service
