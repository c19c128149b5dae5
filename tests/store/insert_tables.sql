create table affinity (i integer, t text, r real, n numeric, b blob, x)
create table keyed (id integer primary key, t text not null default 'none', u unique, check (id <> 13))
create table strict_one (i int, t text, r real, b blob, a any) strict
create table computed (a, b real, c as (typeof(a) || typeof(b)) stored, d default (1.5))
create table bare (k text primary key, v) without rowid
create table heard (what)
create table spoken (a, b)
create trigger t1 after insert on spoken begin insert into heard values(typeof(new.a)||quote(new.b)); end
create view seen as select a, b from spoken
create trigger t2 instead of insert on seen begin insert into spoken values(new.b, new.a); end
create table "quoted name" ("a b", c)
create table children (p references keyed(id))
