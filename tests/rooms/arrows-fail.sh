#!/usr/bin/env bash
# Shows that the check of the arrows fails for an arrow that must not be.
#
#   arrows-fail.sh CHECK QVL SCRATCH
set -euo pipefail

check=$1 qvl=$2 scratch=$3

refused() {
  local file=$1 include=$2
  rm -rf "$scratch"
  cp -R "$qvl" "$scratch"
  printf '#include %s\n' "$include" >>"$scratch/$file"
  if "$check" "$scratch" >"$scratch/said"; then
    echo "$file may include $include"
    exit 1
  fi
  grep -qF "$file includes" "$scratch/said"
}

refused core/LookupData.h '"qvl/lookup/LookupManager.h"'
refused lookup/LookupManager.cpp '"qvl/dataset/DataSet.h"'
refused xml/LibXmlWrapper.cpp '"qvl/trace/TraceLog.h"'
refused avoidance/Glob.cpp '"qvl/dataset/KeyTable.h"'
refused trace/TraceLog.cpp '<libxml/parser.h>'
refused dataset/RuleIndex.cpp '<boost/regex/icu.hpp>'
