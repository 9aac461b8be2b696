#!/bin/sh
# A compiler launcher for Corvane as a part of another project, in its folder "corvane":
# reuse_object.sh BUILD COMPILER ARGUMENT...
#
# Takes an object from BUILD, where the same one has been compiled already, instead of compiling it.
# What src/control has is compiled: it includes something of every room.
set -eu
build=$1
shift

object=
previous=
for argument in "$@"; do
  [ "$previous" != -o ] || object=$argument
  previous=$argument
done
built=$build/${object#corvane/}
case $object in
  *control*) ;;
  corvane/*)
    cp "$built" "$object"
    exit 0
    ;;
esac
exec "$@"
