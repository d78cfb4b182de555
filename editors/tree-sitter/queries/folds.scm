[(block) (switch_body) (case_clause) (default_clause) (comment)] @fold
