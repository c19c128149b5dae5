# The schema, then statements whose plan by a shape is to be the plan of the text.
schema create table t (id integer primary key, name text, level integer, ratio real, note text collate nocase, x)
schema create table u (id integer primary key, t integer references t, code text, kind integer) strict
schema create table w (a text, b integer, c text, primary key (a, b)) without rowid
schema create index t_name on t (name)
schema create index t_level on t (level, ratio)
schema create index t_hot on t (ratio) where level = 3
schema create index t_named on t (x) where name is not null
schema create index t_lower on t (lower(name))
schema create index t_sum on t (level + 1)
schema create index t_note on t (note)
schema create index u_t on u (t, kind)
schema create index u_code on u (code) where kind > 5
schema with recursive n(i) as (select 1 union all select i + 1 from n where i < 3000) insert into t select i, 'name' || i, i % 7, i * 0.5, 'n' || i, i from n
schema insert into u select id, id % 500 + 1, 'c' || id, level from t
schema insert into w select name, level, note from t
schema analyze
select id,name from t where (id=5)
select id,name from t where (id='5')
select id from t where (name='name5')
select id from t where (name=5)
select id from t where ((name >= 'name1') and (name <= 'name2')) order by name LIMIT 10 OFFSET 20
select id from t where ((name >= 'name1') and (name <= 'name2')) order by level LIMIT 1000 OFFSET 0
select id from t where ((level=3) and (ratio=7.500000))
select id from t where ((level=0) and (ratio >= 7))
select id from t where ((level=1) and (name='name5'))
select id from t where ((level=-1) and (name='name5'))
select id from t where ((level=3) and (ratio >= 5)) order by ratio LIMIT 3 OFFSET 0
select id from t where ((level=4) and (ratio >= 5)) order by ratio LIMIT 3 OFFSET 0
select id from t where (level in (1,2,3)) order by name
select id from t where level in (5)
select id from t where level in (1)
select id from t where level not in (4,5)
select id from t where (x=7) and name is not null
select id from t where (x=7) and (name='name7')
select id from t where (x=7) and (name != 'name7')
select id from t where lower(name)='name7'
select id from t where level + 1 = 5
select id from t where note LIKE 'n1%'
select id from t where name LIKE 'name1%' and (level=5)
select id from t where (note='N17')
select id from t where ((name='name1') or (name='name2'))
select id from t where ((name='name1') or (level=5))
select id from t where ((level=2) or (level=5)) and (ratio=7)
select id from t where not (level=5)
select id from t where level between 2 and 4
select id from t where name between 'a' and 'b' order by id
select id from t where ratio >= 1.5 and ratio <= 9.5
select  count(*)  from t where (level=6)
select level, avg (ratio) from t where (ratio >= 7) group by level having  count(*) >= 7
select  max(ratio) from t where (level=5)
select  min(name) from t where (name >= 'name5')
select t.id,u.code from t,u where ((t.id=u.t) and (u.kind=4))
select t.id,u.code from t,u where ((t.id=u.t) and (u.kind=1)) order by u.code LIMIT 5 OFFSET 5
select t.id from t join u on u.t=t.id and u.kind=6 where (t.level=5)
select u.id from u where ((code='c7') and (kind=6))
select u.id from u where ((code='c7') and (kind >= 7))
select id from u where t in (select id from t where (level=5))
select id from u where (t <= (select  max(id) from t where (level=5)))
select id from u where exists (select id from t where ((t.id=u.t) and (t.level=4)))
select id from t where (level=5) UNION select id from u where (kind=5) order by id
select id from t where (level=5) EXCEPT select id from u where (kind=5)
select c from w where ((a='name7') and (b=7))
select c from w where ((a >= 'name7') and (b=7)) order by a,b
update t set level=5,name='y' where (id=7)
update t set ratio=1.5 where ((level=3) and (ratio=7))
update t set name=NULL where (name='name9')
update w set c='z' where ((a='name1') and (b=0))
delete from t where (level=5)
delete from u where ((t=7) and (kind=1))
delete from w where (a='name7')
select u.t from w,t,u where (w.b=t.level) and (t.level=u.t) and (w.a=w.b) and (t.ratio!=2.5) order by w.c LIMIT 5000 OFFSET 24
select t.x from t where (t.name >= 3) and (t.id <= -1) order by t.x LIMIT 5 OFFSET 15
select t.level from t where (t.id >= 0) and (t.note=0) or (t.id >= 0)
select u.kind from u where (u.id >= 2.5) or (u.code=1) and (u.id=2.5)
select t.x from t where (t.name >= 1) and (t.ratio >= 1) or (t.ratio=1) order by t.level
