-- one
# two
(* three (* nested *) *)
return 1 -- end
