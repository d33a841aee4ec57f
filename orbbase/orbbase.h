/* ORBbase in one include: everything that an application uses. */
#ifndef ORBBASE_ORBBASE_H
#define ORBBASE_ORBBASE_H

#include "orbbase/clr.h"
#include "orbbase/core.h"
#include "orbbase/formats/rla.h"
#include "orbbase/imp.h"
#include "orbbase/naming.h"
#include "orbbase/operators.h"
#include "orbbase/registry.h"
#include "orbbase/response.h"
#include "orbbase/str.h"
#include "orbbase/support/err.h"
#include "orbbase/support/fmt.h"
#include "orbbase/support/resource.h"
#include "orbbase/support/utl.h"

#endif
