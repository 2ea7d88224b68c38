// SPDX-License-Identifier: Apache-2.0
// The name of a virtual printer's next job directory in DIR: one more than
// the highest number among DIR's entries, from "1".
#pragma once

#include <string>

std::string nextJobNumber(const std::string& directory);
