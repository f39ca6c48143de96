set {a, b} to {1, 2}
return {b, a}
