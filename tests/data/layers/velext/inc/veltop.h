// The middle layer.
