(* never
