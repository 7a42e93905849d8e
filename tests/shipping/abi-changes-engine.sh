# Changes of the engine's interface; abi-change.sh reads them.
# shellcheck shell=bash

notices "s/name='AnyAccess' value='3'/name='AnyAccess' value='4'/" AnyAccess
notices "$(in_class LookupData "s/in-bits='832'/in-bits='896'/")" LookupData
notices "$(in_class LookupData "s/in-bits='320'/in-bits='328'/")" m_processName
notices "$(in_class LookupManager "s/vtable-offset='3'/vtable-offset='9'/")" isPresent
notices "s/<elf-symbol name='\(_ZN3QVL13LookupManager9isPresent\)E/<elf-symbol name='\1X/" \
  _ZN3QVL13LookupManager9isPresentX
