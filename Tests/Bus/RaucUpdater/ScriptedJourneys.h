#pragma once

#include "Bus/RaucUpdater/ScriptedDevice.h"

#include <gtest/gtest.h>

#include <vector>

namespace Zel::Tests
{

/// \name Rows for the scripted RAUC, whose rootfs.0 runs 2.0.0.0 and whose rootfs.1 holds 1.0.0.0
///@{
/// What is made of an installation after the restart.
std::vector<Journey> VerdictJourneys();
/// Reverts that are refused, or have nothing to do.
std::vector<Journey> RevertJourneys();
/// Installations that are not begun, or that RAUC does not begin.
std::vector<Journey> RefusalJourneys();
/// What RAUC answers and tells that it should not.
std::vector<Journey> AnswerJourneys();
/// What the status store refuses, and services that are missing.
std::vector<Journey> StoreJourneys();
///@}

} // namespace Zel::Tests
