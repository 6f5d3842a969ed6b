#pragma once

#include <string>
#include <vector>

#include "doctor/data_file_check.h"
#include "doctor/findings.h"
#include "doctor/reader_check.h"

namespace readcard::doctor {

// Looks each endpoint up, connects it, and logs in with the reader's codes when there are some.
void CheckService(const std::vector<Endpoint>& endpoints, const std::string& applicationId,
                  const ReaderIdentity& reader, Findings& findings);

}  // namespace readcard::doctor
