# rooms-change.sh CHECK ROOT SCRATCH: does the check of the rooms notice an include that may not be?
set -eu
check=$1 root=$2 scratch=$3

refused() {
  rm -rf "$scratch"
  mkdir -p "$scratch"
  cp -R "$root/qvl" "$scratch/qvl"
  printf '#include %s\n' "$2" >>"$scratch/qvl/$1"
  if bash "$check" "$scratch"; then
    echo "expected $1 to be refused when it includes $2, and it passed"
    exit 1
  fi
}

refused core/LookupData.h '"qvl/lookup/LookupManager.h"'
refused lookup/LookupManager.cpp '"qvl/dataset/DataSet.h"'
refused xml/LibXmlWrapper.cpp '"qvl/trace/TraceLog.h"'
refused match/Glob.cpp '"qvl/avoidance/Avoidance.h"'
refused match/Glob.cpp '"qvl/core/LookupData.h"'
refused avoidance/Avoidance.cpp '<boost/regex/icu.hpp>'
refused dataset/DataSet.cpp '"qvl/avoidance/FolderAvoidance.h"'
refused trace/TraceLog.cpp '<libxml/parser.h>'
refused dataset/RuleIndex.cpp '<boost/regex/icu.hpp>'
