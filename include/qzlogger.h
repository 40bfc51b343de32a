#pragma once

// Everything a host program of the store may include.
#include "DataMeasType.h"
#include "LoggerDataItems.h"
#include "LoggerDebug.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerKey.h"
#include "LoggerPerformanceCounter.h"
#include "LoggerResult.h"
#include "LoggerState.h"
#include "LoggerTimeStamp.h"
#include "LoggerTypes.h"
#include "TimeStampBase.h"
