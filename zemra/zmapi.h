#pragma once

/// The one header a host includes: linear vibration analysis of mechanical models.

#include "zemra/api/zmapi_actuator.h"
#include "zemra/api/zmapi_base.h"
#include "zemra/api/zmapi_c.h"
#include "zemra/api/zmapi_complex.h"
#include "zemra/api/zmapi_eigen_problem.h"
#include "zemra/api/zmapi_matrix.h"
#include "zemra/api/zmapi_system.h"
#include "zemra/api/zmapi_system_ss.h"
#include "zemra/message/message.h"
#include "zemra/toolbox/zmapi_toolbox.h"
