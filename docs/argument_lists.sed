#!/bin/sed -Ef
# The headers list arguments in columns, "name  meaning"; for HTML each becomes an item of a list.
s@^( */// )([A-Za-z_][A-Za-z_, .]*[A-Za-z_])  +([^ ].*)@\1- `\2`: \3@
