try
foo
on error
"caught"
end error
