"""qvl-fleet: what would a policy leave unscanned on many machines? docs/fleet.md tells how to use it."""
