# Changes of the policy library's interface, in C++ and in C; abi-change.sh reads them.
# shellcheck shell=bash

notices "s/name='FileAge' value='4'/name='FileAge' value='5'/" FileAge
notices "$(in_class Rule "s/in-bits='320'/in-bits='328'/")" defaultFolder
notices "$(in_class Question "s/size-in-bits='384'/size-in-bits='448'/")" Question
notices "s/name='QVLPOLICY_COUNT_RULES' value='2'/name='QVLPOLICY_COUNT_RULES' value='3'/" \
  QVLPOLICY_COUNT_RULES
notices "/name='qvlpolicy_batch' size/,/<\/class-decl>/ s/in-bits='832'/in-bits='840'/" hits
notices "s/<elf-symbol name='qvlpolicy_ask'/<elf-symbol name='qvlpolicy_asX'/" qvlpolicy_asX
