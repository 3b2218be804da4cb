// Everything public of the kivdbxt library.
#pragma once

#include "kivdbxt/class_table.h"
#include "kivdbxt/collection.h"
#include "kivdbxt/constants.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/error.h"
#include "kivdbxt/kiv_blob_type.h"
#include "kivdbxt/kiv_log.h"
#include "kivdbxt/kiv_log_event.h"
#include "kivdbxt/kiv_log_file.h"
#include "kivdbxt/kiv_log_filter.h"
#include "kivdbxt/kiv_log_info.h"
#include "kivdbxt/qv_db_xt.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "kivdbxt/raised_error.h"
#include "kivdbxt/types.h"
#include "kivdbxt/variant.h"
