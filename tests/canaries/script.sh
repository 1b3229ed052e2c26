#!/usr/bin/env bash
# A canary: a script that fails.
echo "this script must fail"
exit 3
