on greet given loud:l, late:t
return {l, t}
end greet
greet with loud without late
