// Everything that a host needs: one include.
//
// A host creates data sets and rules, hands the rules to the data sets, registers the data sets
// with a LookupManager under numbers, defines the business logic over those numbers, and then asks
// isPresent once per file access. Start reading at LookupManager.

#ifndef QVL_QVL_H
#define QVL_QVL_H

// The request and the interfaces
#include "qvl/core/AccessTypes.h"
#include "qvl/core/IAvoidance.h"
#include "qvl/core/IDataSet.h"
#include "qvl/core/ILookupManager.h"
#include "qvl/core/LookupData.h"
#include "qvl/core/QVLException.h"

// The query front
#include "qvl/lookup/LookupManager.h"

// The rules
#include "qvl/avoidance/FileAgeAvoidance.h"
#include "qvl/avoidance/FilePathAvoidance.h"
#include "qvl/avoidance/FileTypeAvoidance.h"
#include "qvl/avoidance/FolderAvoidance.h"
#include "qvl/avoidance/ProcessAvoidance.h"
#include "qvl/avoidance/Utility.h"

// The data sets
#include "qvl/dataset/FileAgeDataSet.h"
#include "qvl/dataset/FilePathDataSet.h"
#include "qvl/dataset/FileTypeDataSet.h"
#include "qvl/dataset/FolderDataSet.h"
#include "qvl/dataset/ProcessDataSet.h"

// Beside the engine
#include "qvl/trace/TraceLog.h"
#include "qvl/xml/LibXmlWrapper.h"

#endif  // QVL_QVL_H
